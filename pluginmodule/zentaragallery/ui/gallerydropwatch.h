#pragma once

#include <QObject>
#include <QStringList>
#include <QTimer>
#include <functional>
#include <memory>
#include <set>

#include "common/platform/mutex.h"
#include "common/platform/window.h"
#include "ui/shnotifyfilewatch.h"

// Learns in which folder pictures have landed that were dragged into a program which
// does not say so: their names are watched for where files are dropped, from the
// beginning of the drag until all have come, or for a while behind the drop.
//
// User-interface thread.
class GalleryDropWatch : public QObject {
 public:
  // Told once for a drag of which something has landed.
  using Landed = std::function<void(std::size_t count, const QString& folder)>;

  // Of copies that are large, or on a slow disk.
  static constexpr int kStayMs = 120'000;

  // `target` gets WM_GALLERY_SHELL_DROP, and hands its path to Take.
  GalleryDropWatch(HWND target, Landed landed);
  ~GalleryDropWatch() override;

  void Begin();
  // The target was given files of these names.
  void Expect(const QStringList& names);
  // Ends at once after a drag that went nowhere, or to where nothing was asked for.
  void DragEnded(bool dropped);
  void Take(const QString& path);
  void End();
  // Tears the watch down and, while one runs, starts it again.
  void Restart();

  bool IsWatching() const { return watch != nullptr; }
  // Where a drop is likely to land: the user's folders, and media that can be removed.
  static std::vector<platform::FolderWatch::Root> Places();

 private:
  void Start();
  bool IsExpected(const std::wstring& path);
  void Tell();

  const HWND window;
  const Landed tell;
  QTimer stay;
  QString folder;
  std::size_t landed = 0;
  platform::Mutex lock;
  std::set<std::wstring> expected GUARDED_BY(lock);         // names that have not landed yet
  std::unique_ptr<TAVISH_COMMON::ShNotifyFileWatch> watch;  // Last: its thread asks for the names.
};
