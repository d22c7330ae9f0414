#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QTimer>
#include <functional>

// Tells when something has come into one of the folders: once when they are set, and a
// moment after the last change, so that a camera's hundred files are one import.
//
// Subfolders are watched as far as the system has watches to give. With more of them
// all folders are looked at every `pollMs` besides. User-interface thread; the folders
// are listed on a worker.
class WatchedFolders : public QObject {
 public:
  explicit WatchedFolders(std::function<void(const QStringList& folders)> onChanged);
  void Watch(const QStringList& folders);
  const QStringList& Folders() const { return folders; }
  // Whether there are more folders than watches.
  bool IsPolling() const { return poll.isActive(); }
  // It has become so, or is so no more.
  std::function<void()> onPolling;

  int quietMs = 3000;
  // A desktop has 8,192 watches or more for all of its programs.
  int mostWatches = 4000;
  int pollMs = 600'000;

 private:
  void Add();
  void WatchAlso(const QStringList& found, bool all);
  void Poll(bool needed);

  std::function<void(const QStringList&)> changed;
  QFileSystemWatcher watcher;
  QStringList folders;
  QTimer quiet, poll;
};
