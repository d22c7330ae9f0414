// The longest gap between two turns of the event loop while the database is held by
// another connection for seconds at a time: during scrolling, an import, the recycling of
// many files, new albums and favourites. Usage: eventloop_benchmark [FILES]

#include <sqlite3.h>

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QTimer>
#include <QWheelEvent>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

#include "common/platform/paths.h"
#include "common/toolkit/toolkit.h"
#include "host/globalparamwrapper.h"
#include "host/userauthservice.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "ui/galleryalbumwnd.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/zentaragallery.h"
#include "utils/globaldata.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kHeld = std::chrono::seconds(2);
constexpr auto kFree = std::chrono::milliseconds(200);

// Another program that writes into the same database, two seconds at a time.
class Holder {
 public:
  explicit Holder(const std::string& file) : thread([this, file] { Run(file); }) {}
  ~Holder() {
    ended = true;
    thread.join();
  }

 private:
  void Run(const std::string& file) {
    sqlite3* database = nullptr;
    if (sqlite3_open(file.c_str(), &database) != SQLITE_OK) return;
    sqlite3_busy_timeout(database, 5000);
    while (!ended) {
      if (sqlite3_exec(database, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_OK) {
        for (auto until = Clock::now() + kHeld; !ended && Clock::now() < until;)
          std::this_thread::sleep_for(std::chrono::milliseconds(20));
        sqlite3_exec(database, "ROLLBACK", nullptr, nullptr, nullptr);
      }
      std::this_thread::sleep_for(kFree);
    }
    sqlite3_close(database);
  }

  std::atomic<bool> ended{false};
  std::thread thread;
};

// The longest time between two turns since Begin.
class Gaps : public QObject {
 public:
  Gaps() {
    connect(&beat, &QTimer::timeout, this, [this] { Turn(); });
    beat.start(0);
  }
  void Begin() {
    worst = 0;
    last = Clock::now();
  }
  double End() {
    Turn();
    return worst;
  }

 private:
  void Turn() {
    const auto now = Clock::now();
    worst = std::max(worst, std::chrono::duration<double, std::milli>(now - last).count());
    last = now;
  }
  QTimer beat;
  Clock::time_point last = Clock::now();
  double worst = 0;
};

void Until(const std::function<bool()>& done) {
  while (!done()) QApplication::processEvents(QEventLoop::AllEvents, 5);
}

std::vector<GalleryFile::Ptr> MakeFiles(std::size_t count) {
  std::vector<GalleryFile::Ptr> files;
  for (std::size_t i = 0; i < count; ++i) {
    auto file = std::make_shared<GalleryFile>();
    const std::string id = "b" + std::to_string(i);
    file->SetUniqueId(id);
    file->SetGuid("g" + id);
    file->SetFileId("f" + id);
    file->SetFileName(L"IMG_" + std::to_wstring(i) + L".jpg");
    file->SetAlbumId("default-album-1");
    file->CreateTime = 1'700'000'000'000 - static_cast<std::int64_t>(i) * 3'600'000;
    file->SavedFileType = 1;
    file->Size = 3'000'000;
    files.push_back(std::move(file));
  }
  return files;
}

std::vector<std::wstring> MakePictures(const QString& folder, int count) {
  QDir().mkpath(folder);
  std::vector<std::wstring> paths;
  for (int i = 0; i < count; ++i) {
    QImage image(800, 600, QImage::Format_RGB32);
    image.fill(QColor::fromHsv(i * 7 % 360, 200, 200 - i % 100));
    const QString file = folder + QStringLiteral("/%1.jpg").arg(i);
    (void)image.save(file, "JPG");
    paths.push_back(file.toStdWString());
  }
  return paths;
}

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("ZENTARA_SCALE", "100");
  toolkit::Prepare();
  QApplication application(argc, argv);
  toolkit::Start(application);
  const std::size_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 50'000;
  const QString folder = QDir::tempPath() + QStringLiteral("/eventloop-%1").arg(QCoreApplication::applicationPid());
  platform::SetProfileRoot(folder.toStdString());
  auto& gallery = Gallery::GetInstance();
  if (!GlobalParamWrapper::GetInstance()->Load() || !UserAuthService::GetInstance()->Load() ||
      !DBHelper::GetInstance().IntiDataBase("bench") || !gallery.Init())
    return 1;
  GlobalData::globalParam = GlobalParamWrapper::GetInstance();
  upward::Install(&GalleryFileListViewHelper::GetInstance());
  auto album = std::make_shared<Album>();
  album->AlbumId = "default-album-1";
  album->AlbumName = L"Camera roll";
  album->AlbumType = "0";
  album->Lpath = "/DCIM/Camera";
  album->Classify();
  (void)DBHelper::GetInstance().AddAlbum(album);
  gallery.LoadAlbums({album});
  const auto files = MakeFiles(count);
  (void)DBHelper::GetInstance().AddFiles(files);
  gallery.AddFiles(files);
  const auto pictures = MakePictures(folder + QStringLiteral("/pictures"), 200);
  std::string database;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.toStdString()))
    if (entry.path().extension() == ".db") database = entry.path().string();

  WindowImplBaseEx frame;
  (void)frame.Create(static_cast<QWidget*>(nullptr), QStringLiteral("frame"), WindowStyle::Frame, {0, 0, 1440, 900});
  auto page = std::make_unique<ZentaraGallery>();
  (void)page->Create(&frame, QStringLiteral("ZentaraGalleryWnd"), WindowStyle::Child, {84, 0, 1356, 900});
  frame.show();
  page->show();
  Until([&] { return page->CurrentList() && page->CurrentList()->Body() && !page->CurrentList()->Body()->Rows().empty(); });

  std::printf("%zu files, database %s held for 2 s at a time\n", count, database.empty() ? "NOT FOUND" : "is");
  {
    Holder holder(database);
    Gaps gaps;
    const auto measure = [&gaps](const char* what, const std::function<void()>& work) {
      gaps.Begin();
      work();
      std::printf("  %-40s longest gap %7.1f ms\n", what, gaps.End());
      std::fflush(stdout);
    };
    const auto scroll = [&page](int steps) {
      for (int i = 0; i < steps; ++i) {
        const QPointF at(600, 400);
        QWheelEvent event(at, page->CurrentList()->mapToGlobal(at), {}, {0, -120}, Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(page->CurrentList(), &event);
        QApplication::processEvents();
      }
    };
    measure("scrolling", [&] { scroll(300); });
    measure("import of 200 pictures", [&] {
      bool done = false;
      page->Upload(pictures, album, [&done] { done = true; });
      Until([&] {
        scroll(1);
        return done;
      });
    });
    measure("recycling all", [&] {
      page->Recycle(files);
      Until([&] {
        scroll(1);
        return gallery.GetAlbum(SystemAlbumId(AlbumKind::RecycleBin))->FileCount() >= count;
      });
    });
  }
  page.reset();
  QDir(folder).removeRecursively();
  std::fflush(stdout);
  _Exit(0);
}
