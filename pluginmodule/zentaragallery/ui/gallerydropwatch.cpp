#include "ui/gallerydropwatch.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <array>

#include "common/platform/paths.h"
#include "ui/pagecontext.h"

namespace {

// Folders that somebody has made in his folders, not the insides of every project.
constexpr int kHomeDepth = 1, kUserFolderDepth = 3;
// "/media/USER/disk" and what lies on it; a disk that is plugged in comes below.
constexpr int kMediaDepth = 3;

}  // namespace

GalleryDropWatch::GalleryDropWatch(HWND target, Landed landedAt) : window(target), tell(std::move(landedAt)) {
  stay.setSingleShot(true);
  stay.setInterval(kStayMs);
  connect(&stay, &QTimer::timeout, this, &GalleryDropWatch::End);
}

GalleryDropWatch::~GalleryDropWatch() = default;

std::vector<platform::FolderWatch::Root> GalleryDropWatch::Places() {
  std::vector<platform::FolderWatch::Root> places;
  const auto add = [&places](const QString& path, int depth) {
    if (!path.isEmpty()) places.push_back({QFileInfo(path).absoluteFilePath().toStdString(), depth});
  };
  constexpr std::array kFolders{QStandardPaths::DesktopLocation,  QStandardPaths::DownloadLocation,
                                QStandardPaths::PicturesLocation, QStandardPaths::DocumentsLocation,
                                QStandardPaths::MoviesLocation,   QStandardPaths::MusicLocation};
  // A folder that is not set up stands for the home folder, which is not gone through so far.
  for (const auto location : kFolders)
    for (const QString& path : QStandardPaths::standardLocations(location))
      add(path, QDir(path) == QDir::home() ? kHomeDepth : kUserFolderDepth);
  add(QDir::homePath(), kHomeDepth);
  const QString user = qEnvironmentVariable("USER", QFileInfo(QDir::homePath()).fileName());
  add(QStringLiteral("/media/") + user, kMediaDepth);
  add(QStringLiteral("/run/media/") + user, kMediaDepth);
  return places;
}

void GalleryDropWatch::Begin() {
  End();
  Start();
}

void GalleryDropWatch::Start() {
  watch = std::make_unique<TAVISH_COMMON::ShNotifyFileWatch>(
      window, [this](const std::wstring& path) { return IsExpected(path); });
  // Without a watch the drag goes on; nobody tells where it has ended.
  if (!watch->InitInstance(Places())) watch.reset();
}

void GalleryDropWatch::Expect(const QStringList& names) {
  platform::MutexLock hold(lock);
  for (const QString& name : names) expected.insert(Page::Wide(name));
}

bool GalleryDropWatch::IsExpected(const std::wstring& path) {
  platform::MutexLock hold(lock);
  return expected.contains(platform::WideFileName(path));
}

void GalleryDropWatch::DragEnded(bool dropped) {
  bool isAsked = false;
  {
    platform::MutexLock hold(lock);
    isAsked = !expected.empty();
  }
  dropped&& isAsked ? stay.start() : End();
}

void GalleryDropWatch::Take(const QString& path) {
  bool isLast = false;
  {
    platform::MutexLock hold(lock);
    // Told twice, when it is made anew or moved on: it has landed once.
    if (expected.erase(Page::Wide(QFileInfo(path).fileName())) == 0) return;
    isLast = expected.empty();
  }
  ++landed;
  folder = QFileInfo(path).path();
  if (isLast) End();
}

void GalleryDropWatch::End() {
  stay.stop();
  watch.reset();
  Tell();
  platform::MutexLock hold(lock);
  expected.clear();
}

void GalleryDropWatch::Tell() {
  const std::size_t count = std::exchange(landed, 0);
  if (count > 0) tell(count, std::exchange(folder, {}));
}

void GalleryDropWatch::Restart() {
  if (!watch) return;
  watch.reset();
  Start();
}
