// How long the viewer takes for its first and its sharp picture, how many pictures a
// held arrow key shows, and what memory that takes.
//
//   viewer_benchmark FOLDER        pictures of the folder are opened one after another,
//                                  then walked through with the arrow key held
//   viewer_benchmark --window FOLDER   opens the first of them in a window, and waits to be
//                                  ended: for heldkey.py
//
// Every picture is looked at where it lies; the caches are below a temporary folder.

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QMouseEvent>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>
#include <cstdio>

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "common/toolkit/toolkit.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "ui/gallerypictureui.h"
#include "ui/galleryrows.h"
#include "ui/pagecontext.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/viewer/douthumlcdui.h"
#include "ui/zentaragallery.h"
#include "utils/globaldata.h"
#include "utils/thumbnailmaker.h"

namespace {

using File = GalleryFile::Ptr;

// Megabytes of this process that are its own, from the system's table.
double OwnMegabytes() {
  QFile file(QStringLiteral("/proc/self/status"));
  if (!file.open(QIODevice::ReadOnly)) return 0;
  for (const QByteArray& line : file.readAll().split('\n'))
    if (line.startsWith("RssAnon:")) return line.mid(8).trimmed().split(' ').first().toDouble() / 1024;
  return 0;
}

File FileOf(const QFileInfo& info, int number) {
  auto file = std::make_shared<GalleryFile>();
  file->SetGuid("benchmark-" + std::to_string(number));
  file->SetUniqueId(file->Guid());
  file->SetFileName(info.fileName().toStdWString());
  file->SetLocalPath(info.absoluteFilePath().toStdWString());
  file->Size = info.size();
  file->SavedFileType = 1;
  return file;
}

// Runs the event loop until `done` holds; milliseconds, or -1 after a minute.
template <typename Done>
double Until(Done done) {
  QElapsedTimer clock;
  clock.start();
  while (!done()) {
    if (clock.elapsed() > 60000) return -1;
    QApplication::processEvents(QEventLoop::AllEvents, 5);
    QThread::usleep(200);
  }
  return static_cast<double>(clock.nsecsElapsed()) / 1e6;
}

void Open(CDouThumLCDUI& lcd, const File& file) {
  auto& pictures = LcdPictures::GetInstance();
  QElapsedTimer clock;
  clock.start();
  lcd.LoadLcd(file);
  lcd.repaint();
  const double first = static_cast<double>(clock.nsecsElapsed()) / 1e6;
  const double sharp = Until([&] { return pictures.Has(file, lcd.Box()); });
  lcd.Take();
  lcd.ActualSize();
  const double pixels = Until([&] {
    lcd.repaint();
    const auto [there, all] = lcd.TilesInSight();
    return there == all && (all > 0 || !lcd.Picture().fromOriginal || lcd.Fit().FitScale() >= 1);
  });
  std::printf("%-40s first frame %6.1f ms, sharp %7.1f ms, own pixels %7.1f ms, memory %6.1f MB\n",
              Page::Wide(file->FileName()).toUtf8().constData(), first, sharp, pixels, OwnMegabytes());
}

// A picture for each repeat of the key, or with 0 as fast as the window paints; the
// neighbours are asked ahead.
void Walk(CDouThumLCDUI& lcd, const std::vector<File>& files, int repeatMs, const char* what) {
  QElapsedTimer clock;
  clock.start();
  int sharp = 0;
  for (std::size_t i = 0; i < files.size(); ++i) {
    lcd.LoadLcd(files[i]);
    lcd.repaint();
    sharp += LcdPictures::GetInstance().Has(files[i], lcd.Box()) ? 1 : 0;
    const auto next = files.begin() + static_cast<std::ptrdiff_t>(std::min(files.size(), i + 1));
    const auto end = files.begin() + static_cast<std::ptrdiff_t>(std::min(files.size(), i + 4));
    LcdPictures::GetInstance().Ahead({next, end}, lcd.Box());
    QApplication::processEvents();
    while (clock.elapsed() < static_cast<qint64>(i + 1) * repeatMs) QThread::usleep(500);
  }
  const double seconds = static_cast<double>(clock.nsecsElapsed()) / 1e9;
  std::printf("%s: %.1f pictures a second, %d of %zu sharp at once, memory %.1f MB\n", what,
              static_cast<double>(files.size()) / seconds, sharp, files.size(), OwnMegabytes());
}

std::vector<File> FilesOf(const char* folder) {
  std::vector<File> files;
  for (const QFileInfo& info : QDir(QString::fromLocal8Bit(folder)).entryInfoList(QDir::Files, QDir::Name))
    files.push_back(FileOf(info, static_cast<int>(files.size())));
  return files;
}

// Where a double click on the first picture goes; null while it has no place yet.
CGalleryPictureUI* FirstCell(const ZentaraGallery& page) {
  const auto* list = page.CurrentList();
  if (!list || !list->Body()) return nullptr;
  for (const auto* row : list->Body()->Rows())
    for (int k = 0; row->IsVisible() && k < row->Columns(); ++k)
      if (row->Cell(k)->File() && !row->Cell(k)->HitRect().isEmpty()) return row->Cell(k);
  return nullptr;
}

void DoubleClick(QWidget& widget, QPointF at) {
  using Type = QEvent::Type;
  for (const Type type : {Type::MouseButtonPress, Type::MouseButtonRelease, Type::MouseButtonDblClick,
                          Type::MouseButtonRelease}) {
    const auto held = type == Type::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, at, widget.mapToGlobal(at), Qt::LeftButton, held, Qt::NoModifier);
    QApplication::sendEvent(&widget, &event);
  }
}

// The page with the files in their order, and the viewer over it.
int ShowWindow(const std::vector<File>& files, const QString& profile) {
  constexpr QSize kWindow(1440, 900);
  constexpr int kBar = 84, kTryMs = 50, kThumbnailEdge = 512;
  constexpr std::int64_t kNewest = 1'700'000'000'000;
  platform::SetProfileRoot(profile.toStdString());
  if (!GlobalParamWrapper::GetInstance()->Load() || !UserAuthService::GetInstance()->Load() ||
      !DBHelper::GetInstance().IntiDataBase("bench") || !Gallery::GetInstance().Init())
    return 1;
  upward::Install(&GalleryFileListViewHelper::GetInstance());
  for (std::size_t i = 0; i < files.size(); ++i) {
    files[i]->SetFileId(files[i]->Guid());
    files[i]->SetAlbumId("default-album-1");
    // As an import leaves them.
    const std::wstring thumbnail = files[i]->ThumbnailName();
    QDir().mkpath(QFileInfo(Page::NativeText(thumbnail)).path());
    files[i]->thumbExists = MakeThumbnail(files[i]->LocalPath(), thumbnail, kThumbnailEdge);
    files[i]->CreateTime = kNewest - static_cast<std::int64_t>(i) * 1000;
  }
  auto album = std::make_shared<Album>();
  album->AlbumId = "default-album-1";
  album->AlbumName = L"Camera roll";
  album->AlbumType = "0";
  album->Lpath = "/DCIM/Camera";
  album->Classify();
  Gallery::GetInstance().LoadAlbums({album});
  Gallery::GetInstance().AddFiles(files);
  WindowImplBaseEx frame;
  ZentaraGallery page;
  (void)frame.Create(static_cast<QWidget*>(nullptr), QStringLiteral("frame"), WindowStyle::Frame,
                     QRect(QPoint(0, 0), kWindow));
  (void)page.Create(&frame, QStringLiteral("ZentaraGalleryWnd"), WindowStyle::Child,
                    {kBar, 0, kWindow.width() - kBar, kWindow.height()});
  frame.show();
  page.show();
  GalleryFileListViewHelper::GetInstance().WaitForConf();
  QTimer opening;
  QObject::connect(&opening, &QTimer::timeout, &page, [&] {
    CGalleryPictureUI* cell = page.Viewer() ? nullptr : FirstCell(page);
    if (cell) DoubleClick(*cell, cell->HitRect().center());
    if (page.Viewer()) opening.stop();
  });
  opening.start(kTryMs);
  return QApplication::exec();
}

}  // namespace

int main(int argc, char** argv) {
  const bool inWindow = argc == 3 && std::string_view(argv[1]) == "--window";
  if (argc != 2 && !inWindow) return std::fprintf(stderr, "viewer_benchmark [--window] FOLDER\n"), 2;
  if (!inWindow && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  const QTemporaryDir home;
  for (const char* name : {"XDG_CACHE_HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"})
    qputenv(name, home.path().toUtf8());
  toolkit::Prepare();
  QApplication application(argc, argv);
  toolkit::Start(application);
  GlobalData::globalParam = GlobalParamWrapper::GetInstance();
  const std::vector<File> files = FilesOf(argv[argc - 1]);
  if (files.empty()) return 1;
  if (inWindow) _Exit(ShowWindow(files, home.path()));
  CDouThumLCDUI lcd;
  lcd.resize(1156, 802);
  lcd.show();
  std::printf("memory at the start %.1f MB\n", OwnMegabytes());
  for (const File& file : files) Open(lcd, file);
  LcdPictures::GetInstance().Clear();
  LcdPictures::GetInstance().WaitIdle();
  constexpr int kKeyRepeatMs = 33;
  Walk(lcd, files, kKeyRepeatMs, "key held, nothing decoded before");
  LcdPictures::GetInstance().Ahead(files, lcd.Box());
  LcdPictures::GetInstance().WaitIdle();
  Walk(lcd, files, kKeyRepeatMs, "key held, all decoded before");
  Walk(lcd, files, 0, "as fast as the window paints, all decoded before");
  return 0;
}
