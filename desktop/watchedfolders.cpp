#include "watchedfolders.h"

#include <QCoreApplication>
#include <QDirIterator>
#include <QFileInfo>
#include <QPointer>
#include <QSet>
#include <algorithm>

#include "common/toolkit/toolkit.h"
#include "host/base/drivethreadpool.h"

WatchedFolders::WatchedFolders(std::function<void(const QStringList&)> onChanged)
    : changed(std::move(onChanged)) {
  quiet.setSingleShot(true);
  connect(&watcher, &QFileSystemWatcher::directoryChanged, this, [this] { quiet.start(quietMs); });
  connect(&quiet, &QTimer::timeout, this, [this] {
    Add();
    if (!folders.isEmpty()) changed(folders);
  });
  connect(&poll, &QTimer::timeout, this, [this] { quiet.start(0); });
}

void WatchedFolders::Watch(const QStringList& next) {
  if (!watcher.directories().isEmpty()) (void)watcher.removePaths(watcher.directories());
  folders = next;
  Poll(false);
  if (!folders.isEmpty()) quiet.start(0);
}

// Folders that are new since the last look are watched from now on.
void WatchedFolders::Add() {
  (void)CommonAbility::DriveThreadPool::GetInstance().Add(
      [self = QPointer<WatchedFolders>(this), wanted = folders, most = mostWatches] {
        QStringList found;
        bool all = true;
        for (const QString& folder : wanted) {
          found << folder;
          QDirIterator below(folder, QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
          while (below.hasNext() && found.size() < most) found << below.next();
          all &= !below.hasNext();
        }
        toolkit::RunLater([self, wanted, found, all] {
          if (self && self->folders == wanted) self->WatchAlso(found, all);
        });
      });
}

// The system refuses watches beyond its own limit, too.
void WatchedFolders::WatchAlso(const QStringList& found, bool all) {
  const QStringList list = watcher.directories();
  const QSet<QString> held(list.begin(), list.end());
  QStringList fresh;
  for (const QString& folder : found)
    if (!held.contains(folder)) fresh << folder;
  const QStringList refused = fresh.isEmpty() ? QStringList() : watcher.addPaths(fresh);
  const bool there = std::any_of(refused.begin(), refused.end(),
                                 [](const QString& folder) { return QFileInfo::exists(folder); });
  Poll(!all || there);
}

void WatchedFolders::Poll(bool needed) {
  if (needed == poll.isActive()) return;
  needed ? poll.start(pollMs) : poll.stop();
  if (onPolling) onPolling();
}
