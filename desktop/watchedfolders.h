#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QTimer>
#include <functional>

// Tells when something has come into one of the folders: once when they are set, and a
// moment after the last change, so that a camera's hundred files are one import.
//
// Subfolders are watched as far as the system has watches to give; what lies deeper is
// found at the next change above it or at the next start. User-interface thread; the
// folders are listed on a worker.
class WatchedFolders : public QObject {
 public:
  explicit WatchedFolders(std::function<void(const QStringList& folders)> onChanged);
  void Watch(const QStringList& folders);
  const QStringList& Folders() const { return folders; }

  static constexpr int kQuietMs = 3000;
  static constexpr int kMostWatches = 4000;

 private:
  void Add();

  std::function<void(const QStringList&)> changed;
  QFileSystemWatcher watcher;
  QStringList folders;
  QTimer quiet;
};
