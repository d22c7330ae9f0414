// The longest time between two turns of the event loop while the window scrolls, imports
// and recycles, with files, database and connections made slow (slowlayers.cpp).
// Usage: eventloop_benchmark [FILES [IMPORTED]]

#include <execinfo.h>
#include <unistd.h>

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QPainter>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <random>

#include "common/platform/paths.h"
#include "common/toolkit/toolkit.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "tests/support/slowlayers.h"
#include "transfer/thumbnails/thumbnailhelper.h"
#include "ui/galleryalbumwnd.h"
#include "ui/userproperties.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/zentaragallery.h"
#include "utils/globaldata.h"

namespace {

using Clock = std::chrono::steady_clock;

double MsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

timer_t turnTimer{};

// Of this thread alone: what others of the computer do is in the time between two turns.
double OwnMs() {
  timespec time{};
  (void)clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

// Writes where the window's thread stands when one turn has taken it 40 ms of its own.
void TellLongTurns() {
  timer_t timer{};
  sigevent event{};
  event.sigev_notify = SIGEV_THREAD_ID;
  event.sigev_signo = SIGUSR1;
  event._sigev_un._tid = gettid();
  std::signal(SIGUSR1, [](int) {
    void* frames[40];
    (void)!write(STDERR_FILENO, "long turn\n", 10);
    backtrace_symbols_fd(frames, backtrace(frames, 40), STDERR_FILENO);
  });
  (void)timer_create(CLOCK_THREAD_CPUTIME_ID, &event, &timer);
  turnTimer = timer;
}

void BeginTurn() {
  constexpr long kLongTurnNs = 40'000'000;
  const itimerspec until{{}, {0, kLongTurnNs}};
  (void)timer_settime(turnTimer, 0, &until, nullptr);
}

// Runs the loop until `done` and tells the longest time between two turns.
void Measure(const char* what, const std::function<void()>& step, const std::function<bool()>& done) {
  const long before = SlowLayers::callsOfFirst;
  double longest = 0, longestOwn = 0, lastOwn = OwnMs();
  long turns = 0;
  const auto start = Clock::now();
  auto last = start;
  SlowLayers::on = true;
  while (!done()) {
    BeginTurn();
    if (step) step();
    QCoreApplication::sendPostedEvents();
    QApplication::processEvents(QEventLoop::AllEvents);
    longest = std::max(longest, MsSince(last));
    last = Clock::now();
    longestOwn = std::max(longestOwn, OwnMs() - lastOwn);
    lastOwn = OwnMs();
    ++turns;
    usleep(1000);
  }
  SlowLayers::on = false;
  std::printf(
      "  %-24s longest %7.1f ms (%5.1f of them its own)   %6ld turns in %6.1f s   %ld calls of the window's "
      "thread\n",
      what, longest, longestOwn, turns, MsSince(start) / 1000, SlowLayers::callsOfFirst - before);
  std::fflush(stdout);
}

std::vector<GalleryFile::Ptr> MakeFiles(std::size_t count) {
  std::mt19937_64 random(7);
  std::vector<GalleryFile::Ptr> files;
  for (std::size_t i = 0; i < count; ++i) {
    auto file = std::make_shared<GalleryFile>();
    const std::string id = "b" + std::to_string(i);
    file->SetUniqueId(id);
    file->SetGuid("g" + id);
    file->SetFileId("f" + id);
    file->SetFileName(L"IMG_" + std::to_wstring(i) + L".jpg");
    file->SetAlbumId("default-album-1");
    file->CreateTime = (1'500'000'000 + static_cast<std::int64_t>(random() % 200'000'000)) * 1000;
    file->SavedFileType = 1;
    file->Size = 3'000'000;
    files.push_back(std::move(file));
  }
  return files;
}

// Pictures of an hour ago, each another one: contents that are there already, and files
// that are being written, are refused.
std::vector<std::wstring> MakePictures(const QString& folder, int count) {
  QDir().mkpath(folder);
  std::vector<std::wstring> paths;
  for (int i = 0; i < count; ++i) {
    QImage image(640, 480, QImage::Format_RGB32);
    image.fill(QColor::fromHsv(i % 360, 100 + i / 360 % 100, 220));
    QPainter(&image).drawText(20, 40, QString::number(i));
    const QString path = folder + QStringLiteral("/%1.jpg").arg(i);
    (void)image.save(path, "JPG", 90);
    std::filesystem::last_write_time(path.toStdString(),
                                     std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    paths.push_back(path.toStdWString());
  }
  return paths;
}

void Run(std::size_t count, int imported, const QString& folder) {
  auto roll = std::make_shared<Album>();
  roll->AlbumId = "default-album-1";
  roll->AlbumName = L"Camera roll";
  roll->AlbumType = "0";
  roll->Lpath = "/DCIM/Camera";
  roll->Classify();
  Gallery::GetInstance().LoadAlbums({roll});
  const auto files = MakeFiles(count);
  (void)DBHelper::GetInstance().AddFiles(files);
  Gallery::GetInstance().AddFiles(files);
  const auto pictures = MakePictures(folder + QStringLiteral("/card"), imported);
  UserProperties::Set(UserProperties::kTipSeen, 1);
  WindowImplBaseEx frame;
  (void)frame.Create(static_cast<QWidget*>(nullptr), QStringLiteral("frame"), WindowStyle::Frame,
                     {0, 0, 1440, 900});
  ZentaraGallery page;
  (void)page.Create(&frame, QStringLiteral("ZentaraGalleryWnd"), WindowStyle::Child, {84, 0, 1356, 900});
  frame.show();
  page.show();
  auto& list = *page.CurrentList();
  const auto scrolling = [&list] {
    static std::mt19937 random(3);
    const int range = list.GetScrollRange().height();
    if (random() % 20 == 0 && range > 0)
      list.SetScrollPos({0, static_cast<int>(random() % static_cast<unsigned>(range))});
    list.Body()->LineDown();
  };
  while (list.Body()->Rows().empty()) {
    QCoreApplication::sendPostedEvents();
    QApplication::processEvents();
  }
  int steps = 0;
  Measure(
      "scrolling",
      [&] {
        scrolling();
        ++steps;
      },
      [&] { return steps == 400; });
  const auto album = Gallery::GetInstance().CreateAlbum(L"Card", false, -1);
  bool in = false;
  page.Upload(pictures, album, [&in] { in = true; });
  Measure("import, scrolling", scrolling, [&in] { return in; });
  page.Recycle(files);
  const auto last = files.back();
  Measure("recycling, scrolling", scrolling, [&] { return last->IsInBin(); });
  int turns = 0;
  page.Panel()->Make(QStringLiteral("Harbour"));
  Measure("a new album", nullptr,
          [&] { return Gallery::GetInstance().AlbumNameIsExist(L"Harbour") && ++turns > 20; });
}

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("ZENTARA_SCALE", "100");
  toolkit::Prepare();
  QApplication application(argc, argv);
  toolkit::Start(application);
  const std::size_t count = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 50'000;
  const int imported = argc > 2 ? std::atoi(argv[2]) : 500;
  const QString folder =
      QDir::tempPath() + QStringLiteral("/eventloop-benchmark-%1").arg(QCoreApplication::applicationPid());
  platform::SetProfileRoot(folder.toStdString());
  SlowLayers::root = folder.toStdString();
  SlowLayers::workerMs = 2000;
  SlowLayers::firstMs = 200;
  const bool good = GlobalParamWrapper::GetInstance()->Load() && UserAuthService::GetInstance()->Load() &&
                    DBHelper::GetInstance().IntiDataBase("bench") && Gallery::GetInstance().Init();
  GlobalData::globalParam = GlobalParamWrapper::GetInstance();
  upward::Install(static_cast<IThumbnails*>(&ThumbnailHelper::GetInstance()));
  upward::Install(&GalleryFileListViewHelper::GetInstance());
  TellLongTurns();
  if (good) Run(count, imported, folder);
  QDir(folder).removeRecursively();
  std::fflush(stdout);
  _Exit(good ? 0 : 1);
}
