#include "watchedfolders.h"

#include <QCoreApplication>
#include <QDirIterator>
#include <QPointer>

#include "host/base/drivethreadpool.h"

WatchedFolders::WatchedFolders(std::function<void(const QStringList&)> onChanged)
    : changed(std::move(onChanged)) {
  quiet.setSingleShot(true);
  connect(&watcher, &QFileSystemWatcher::directoryChanged, this, [this] { quiet.start(kQuietMs); });
  connect(&quiet, &QTimer::timeout, this, [this] {
    Add();
    if (!folders.isEmpty()) changed(folders);
  });
}

void WatchedFolders::Watch(const QStringList& next) {
  if (!watcher.directories().isEmpty()) (void)watcher.removePaths(watcher.directories());
  folders = next;
  if (!folders.isEmpty()) quiet.start(0);
}

// Folders that are new since the last look are watched from now on.
void WatchedFolders::Add() {
  (void)CommonAbility::DriveThreadPool::GetInstance().Add(
      [self = QPointer<WatchedFolders>(this), wanted = folders] {
        QStringList found;
        for (const QString& folder : wanted) {
          found << folder;
          QDirIterator below(folder, QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
          while (below.hasNext() && found.size() < kMostWatches) found << below.next();
        }
        QMetaObject::invokeMethod(
            qApp,
            [self, wanted, found] {
              if (!self || self->folders != wanted) return;
              QStringList fresh;
              const QStringList held = self->watcher.directories();
              for (const QString& folder : found)
                if (!held.contains(folder)) fresh << folder;
              if (!fresh.isEmpty()) (void)self->watcher.addPaths(fresh);
            },
            Qt::QueuedConnection);
      });
}
