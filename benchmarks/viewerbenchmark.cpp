// How long the viewer takes for its first and its sharp picture, how many pictures a
// held arrow key shows, and what memory that takes.
//
//   viewer_benchmark FOLDER        pictures of the folder are opened one after another,
//                                  then walked through with the arrow key held
//
// Every picture is looked at where it lies; the caches are below a temporary folder.

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QThread>
#include <cstdio>

#include "common/platform/files.h"
#include "common/toolkit/toolkit.h"
#include "host/base/globalparamwrapper.h"
#include "ui/pagecontext.h"
#include "ui/viewer/douthumlcdui.h"
#include "utils/globaldata.h"

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

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "viewer_benchmark FOLDER\n"), 2;
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  const QTemporaryDir home;
  for (const char* name : {"XDG_CACHE_HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"})
    qputenv(name, home.path().toUtf8());
  toolkit::Prepare();
  QApplication application(argc, argv);
  toolkit::Start(application);
  GlobalData::globalParam = GlobalParamWrapper::GetInstance();
  std::vector<File> files;
  for (const QFileInfo& info : QDir(QString::fromLocal8Bit(argv[1])).entryInfoList(QDir::Files, QDir::Name))
    files.push_back(FileOf(info, static_cast<int>(files.size())));
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
