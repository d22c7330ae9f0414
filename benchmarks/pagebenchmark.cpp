// The time line of many photographs, on the offscreen platform: opening, scroll steps,
// jumps, zoom, selection and memory, beside a QListView of as many items that paints as
// many pictures a step in the same run. Usage: page_benchmark [FILES]
// With --day before it, the notches of a whole day of scrolling instead, and whether
// memory stays what it was once caches are full.
//
// A tenth of the files is of one day; the others lie between the years 162 and 2190.

#include <malloc.h>

#include <QAbstractListModel>
#include <QApplication>
#include <QDir>
#include <QListView>
#include <QPainter>
#include <QScrollBar>
#include <QStyledItemDelegate>
#include <QWheelEvent>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <random>

#include "common/platform/paths.h"
#include "common/toolkit/resourcequeue.h"
#include "common/toolkit/toolkit.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "model/gallery.h"
#include "store/dbhelper.h"
#include "ui/gallerypictureui.h"
#include "ui/galleryrows.h"
#include "ui/pagecontext.h"
#include "ui/userproperties.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/view/galleryselecthelper.h"
#include "ui/zentaragallery.h"
#include "utils/globaldata.h"

namespace {

constexpr int kSteps = 400;
constexpr int kPictures = 64;  // different ones; each file has its own name for one of them
constexpr int kWheel = 120;
constexpr int kLongStep = 180;
constexpr int kDayNotches = 8 * 60 * 60 * 10;  // eight hours, ten a second
constexpr int kDayParts = 20;                  // the first of them fills the caches

using Clock = std::chrono::steady_clock;

double MsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double ResidentMb() {
  malloc_trim(0);
  std::ifstream statm("/proc/self/statm");
  double total = 0, resident = 0;
  statm >> total >> resident;
  return resident * 4096 / 1e6;
}

struct Spread {
  std::vector<double> values;
  double At(double part) {
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1,
                           static_cast<std::size_t>(part * static_cast<double>(values.size())))];
  }
};

void Print(const char* what, Spread& spread) {
  std::printf("  %-44s median %7.2f ms   99 %% %7.2f ms   worst %7.2f ms\n", what, spread.At(0.5),
              spread.At(0.99), spread.At(1));
}

void Turn() {
  QCoreApplication::sendPostedEvents();
  QApplication::processEvents();
}

// --- The gallery

QString PictureFile(const QString& folder, int number) {
  return folder + QStringLiteral("/%1.jpg").arg(number);
}

void MakePictures(const QString& folder) {
  QDir().mkpath(folder);
  for (int i = 0; i < kPictures; ++i) {
    QImage image(i % 3 == 1 ? QSize(240, 320) : QSize(320, 240), QImage::Format_RGB32);
    QPainter painter(&image);
    QLinearGradient ground(0, 0, image.width(), image.height());
    ground.setColorAt(0, QColor::fromHsv(i * 5, 150, 230));
    ground.setColorAt(1, QColor::fromHsv((i * 5 + 60) % 360, 220, 90));
    painter.fillRect(image.rect(), ground);
    painter.end();
    (void)image.save(PictureFile(folder, i), "JPG", 90);
  }
}

std::vector<GalleryFile::Ptr> MakeFiles(std::size_t count) {
  std::mt19937_64 random(7);
  constexpr std::int64_t kFirst = -57'000'000'000, kLast = 6'942'000'000;  // 162 to 2190, in seconds
  constexpr std::int64_t kFullDay = 1'699'920'000;
  std::vector<GalleryFile::Ptr> files;
  files.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    auto file = std::make_shared<GalleryFile>();
    const std::string id = "b" + std::to_string(i);
    file->SetUniqueId(id);
    file->SetGuid("g" + id);
    file->SetFileId("f" + id);
    file->SetFileName(L"IMG_" + std::to_wstring(i) + L".jpg");
    file->SetAlbumId("default-album-1");
    const std::int64_t seconds =
        i % 10 == 0
            ? kFullDay + static_cast<std::int64_t>(random() % 86'400)
            : kFirst + static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(kLast - kFirst));
    file->CreateTime = seconds * 1000;
    file->SavedFileType = i % 20 == 7 ? 4 : 1;
    file->Size = 3'000'000;
    files.push_back(std::move(file));
  }
  return files;
}

// --- The page

class PageRun {
 public:
  explicit PageRun(const QString& pictures) : pictureFolder(pictures) {}

  void Open(std::size_t count) {
    const double before = ResidentMb();
    const auto files = MakeFiles(count);
    Gallery::GetInstance().AddFiles(files);
    ofFullDay = files.front();
    const double filled = ResidentMb();
    frame = std::make_unique<WindowImplBaseEx>();
    (void)frame->Create(static_cast<QWidget*>(nullptr), QStringLiteral("frame"), WindowStyle::Frame,
                        {0, 0, 1440, 900});
    page = std::make_unique<ZentaraGallery>();
    UserProperties::Set(UserProperties::kTipSeen,
                        1);  // A tip over the list stands in the way of moved pixels.
    const auto start = Clock::now();
    (void)page->Create(frame.get(), QStringLiteral("ZentaraGalleryWnd"), WindowStyle::Child,
                       {84, 0, 1356, 900});
    frame->show();
    page->show();
    while (Shown().empty()) Turn();
    std::printf("  %-44s %7.2f ms\n", "first rows on the screen", MsSince(start));
    std::printf("  memory: records %.0f MB, page with layout %.0f MB\n", filled - before,
                ResidentMb() - filled);
  }

  // The files whose cells are in sight.
  std::vector<GalleryFile::Ptr> Shown() {
    std::vector<GalleryFile::Ptr> files;
    if (!List() || !List()->Body()) return files;
    for (const auto* row : List()->Body()->Rows()) {
      if (!row->IsVisible() || row->GetPos().top() >= List()->height()) continue;
      for (int k = 0; k < row->Columns(); ++k)
        if (row->Cell(k)->File()) files.push_back(row->Cell(k)->File());
    }
    return files;
  }
  CGalleryVListUI* List() { return page ? page->CurrentList() : nullptr; }

  // What a thumbnail worker does when the cells ask for pictures: names of files that are
  // there already, so that decoding alone is measured.
  void GiveThumbnails() {
    for (const auto& file : Shown()) {
      if (file->thumbExists) continue;
      const QString path = Page::NativeText(file->ThumbnailName());
      QDir().mkpath(QFileInfo(path).path());
      (void)QFile::link(PictureFile(pictureFolder, static_cast<int>(qHash(path) % kPictures)), path);
      file->thumbExists = true;
    }
    List()->RedrawRows(true);
    Turn();
  }
  void UntilDecoded() {
    GiveThumbnails();
    while (ResourceQueue::GetInstance().Waiting() > 0) Turn();
    Turn();
  }

  // Counts the pictures that are painted.
  class PaintCounter : public QObject {
   public:
    bool eventFilter(QObject*, QEvent* event) override {
      count += event->type() == QEvent::Paint;
      return false;
    }
    std::size_t count = 0;
  };

  // Steps as long as those of the list view, and the pictures that each has painted.
  void LongSteps() {
    PaintCounter painted;
    for (auto* row : List()->Body()->Rows())
      for (int k = 0; k < row->Columns(); ++k) row->Cell(k)->installEventFilter(&painted);
    Spread steps;
    for (int i = 0; i < kSteps / 8; ++i) {
      UntilDecoded();
      (void)Wheel(3 * kWheel);
    }
    UntilDecoded();
    painted.count = 0;
    for (int i = 0; i < kSteps / 8; ++i) {
      const int at = List()->GetScrollPos().height();
      const auto start = Clock::now();
      List()->SetScrollPos({0, at + kLongStep});
      Turn();
      steps.values.push_back(MsSince(start));
    }
    Print("step of 180 pixels, thumbnails in memory", steps);
    const double pictures_ = static_cast<double>(painted.count) / (kSteps / 8);
    perPicture = steps.At(0.5) / pictures_;
    std::printf("  %-44s %7.3f ms (%.0f pictures a step)\n", "for each painted picture", perPicture,
                pictures_);
  }

  double Wheel(int delta) {
    const QPointF at(600, 400);
    QWheelEvent event(at, List()->mapToGlobal(at), {}, {0, delta}, Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    const auto start = Clock::now();
    QApplication::sendEvent(List(), &event);
    Turn();
    return MsSince(start);
  }
  double JumpTo(double part) {
    const int range = List()->GetScrollRange().height();
    const auto start = Clock::now();
    List()->SetScrollPos({0, static_cast<int>(part * range)});
    Turn();
    return MsSince(start);
  }

  // Where a screen is full of pictures.
  void ToFullDay() {
    List()->EnsureFileVisible(ofFullDay);
    Turn();
  }

  void Scroll() {
    Spread cold, loading, cached;
    for (int i = 0; i < kSteps; ++i) cold.values.push_back(Wheel(-kWheel));
    Print("scroll step, placeholders", cold);
    ToFullDay();
    for (int i = 0; i < kSteps; ++i) {
      loading.values.push_back(Wheel(-kWheel));
      GiveThumbnails();
    }
    Print("scroll step, thumbnails being decoded", loading);
    for (int i = 0; i < kSteps / 4; ++i) {
      UntilDecoded();
      (void)Wheel(kWheel);
    }
    UntilDecoded();
    for (int i = 0; i < kSteps / 4 - 1; ++i) cached.values.push_back(Wheel(-kWheel));
    Print("scroll step, thumbnails in memory", cached);
    LongSteps();
    Spread jumps;
    std::mt19937 random(3);
    for (int i = 0; i < kSteps; ++i)
      jumps.values.push_back(JumpTo(static_cast<double>(random() % 10'000) / 10'000));
    Print("jump to any date", jumps);
    JumpTo(0);
  }

  void Zoom() {
    Spread blocked, whole;
    auto* slider = page->Find<CSliderUI>(QStringLiteral("slider_pic"));
    for (int i = 0; i < 8; ++i) {
      const auto start = Clock::now();
      slider->SetValue(1 + i % 4);
      blocked.values.push_back(MsSince(start));
      GalleryFileListViewHelper::GetInstance().WaitForConf();
      Turn();
      whole.values.push_back(MsSince(start));
    }
    Print("zoom, the window's own part", blocked);
    Print("zoom until the new rows stand", whole);
  }

  void Select() {
    auto& helper = GalleryFileListViewHelper::GetInstance();
    auto& selection = GallerySelectHelper::GetInstance();
    const auto count = static_cast<std::uint32_t>(helper.CurrentView().files.size());
    auto start = Clock::now();
    List()->OnSelectAllKey(1);
    Turn();
    std::printf("  %-44s %7.2f ms (%zu files)\n", "select all", MsSince(start), selection.Count());
    selection.SelectClear(false);
    selection.OnLButtonDown(helper.GetFileByIndex(0));
    selection.OnLButtonUp(helper.GetFileByIndex(0), true);
    start = Clock::now();
    selection.SetShiftDown(true);
    selection.OnLButtonDown(helper.GetFileByIndex(count / 2));
    selection.OnLButtonUp(helper.GetFileByIndex(count / 2), true);
    selection.SetShiftDown(false);
    Turn();
    std::printf("  %-44s %7.2f ms (%zu files)\n", "Shift over half of them", MsSince(start),
                selection.Count());
    selection.SelectClear(false);
  }

  // Down and up again, through every picture many times; with a zoom, a choice of all and
  // a jump in each part.
  void ScrollADay() {
    auto* slider = page->Find<CSliderUI>(QStringLiteral("slider_pic"));
    int direction = -kWheel;
    double warm = 0, most = 0;
    for (int part = 0; part < kDayParts; ++part) {
      for (int i = 0; i < kDayNotches / kDayParts; ++i) {
        const int before = List()->GetScrollPos().height();
        (void)Wheel(direction);
        if (List()->GetScrollPos().height() == before) direction = -direction;
        if (i % 8 == 0) GiveThumbnails();
      }
      slider->SetValue(1 + part % 4);
      GalleryFileListViewHelper::GetInstance().WaitForConf();
      List()->OnSelectAllKey(1);
      Turn();
      GallerySelectHelper::GetInstance().SelectClear(false);
      (void)JumpTo(0.37 + 0.03 * part);
      UntilDecoded();
      const double now = ResidentMb();
      if (part == 0) warm = now;
      most = std::max(most, now);
      std::printf("  after %3d %% of the day %.1f MB\n", (part + 1) * 100 / kDayParts, now);
      std::fflush(stdout);
    }
    std::printf("  %d notches; memory after the warm-up %.1f MB, at most %.1f MB, at the end %.1f MB\n",
                kDayNotches, warm, most, ResidentMb());
  }

  double perPicture = 0;

 private:
  const QString pictureFolder;
  GalleryFile::Ptr ofFullDay;
  std::unique_ptr<WindowImplBaseEx> frame;
  std::unique_ptr<ZentaraGallery> page;
};

// --- The peer

class ManyItems : public QAbstractListModel {
 public:
  ManyItems(std::size_t count, QList<QImage> of) : items(static_cast<int>(count)), images(std::move(of)) {}
  int rowCount(const QModelIndex&) const override { return items; }
  QVariant data(const QModelIndex& index, int role) const override {
    return role == Qt::DecorationRole ? QVariant::fromValue(images[index.row() % images.size()]) : QVariant();
  }

 private:
  int items;
  QList<QImage> images;
};

class PictureDelegate : public QStyledItemDelegate {
 public:
  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
    const auto image = index.data(Qt::DecorationRole).value<QImage>();
    QRect place(QPoint(), image.size().scaled(option.rect.size() - QSize(30, 10), Qt::KeepAspectRatio));
    place.moveCenter(option.rect.center());
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawImage(place, image);
    ++painted;
  }
  mutable std::size_t painted = 0;
};

void RunListView(std::size_t count, const QString& folder, const PageRun& page) {
  QList<QImage> images;
  for (int i = 0; i < kPictures; ++i)
    images << QImage(PictureFile(folder, i)).scaled(170, 170, Qt::KeepAspectRatio, Qt::SmoothTransformation);
  ManyItems model(count, images);
  PictureDelegate delegate;
  QListView view;
  view.setViewMode(QListView::IconMode);
  view.setUniformItemSizes(true);
  view.setGridSize({190, 180});
  view.setItemDelegate(&delegate);
  view.setModel(&model);
  view.resize(1156, 811);
  auto start = Clock::now();
  view.show();
  Turn();
  std::printf("  %-44s %7.2f ms\n", "QListView, first rows on the screen", MsSince(start));
  Spread steps;
  Turn();
  delegate.painted = 0;
  for (int i = 0; i < kSteps / 4; ++i) {
    start = Clock::now();
    view.verticalScrollBar()->setValue(view.verticalScrollBar()->value() + kLongStep);
    Turn();
    steps.values.push_back(MsSince(start));
  }
  Print("QListView, scroll step", steps);
  const double pictures = static_cast<double>(delegate.painted) / (kSteps / 4);
  const double each = steps.At(0.5) / pictures;
  std::printf("  %-44s %7.3f ms (%.0f pictures a step), the page's is %.2f of it\n",
              "QListView, for each picture", each, pictures, page.perPicture / each);
}

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("ZENTARA_SCALE", "100");
  toolkit::Prepare();
  QApplication application(argc, argv);
  toolkit::Start(application);
  const bool day = argc > 1 && std::string_view(argv[1]) == "--day";
  const int given = day ? 2 : 1;
  const std::size_t count = argc > given ? std::strtoull(argv[given], nullptr, 10) : day ? 20'000 : 1'000'000;
  const QString folder =
      QDir::tempPath() + QStringLiteral("/page-benchmark-%1").arg(QCoreApplication::applicationPid());
  platform::SetProfileRoot(folder.toStdString());
  bool good = GlobalParamWrapper::GetInstance()->Load() && UserAuthService::GetInstance()->Load() &&
              DBHelper::GetInstance().IntiDataBase("bench") && Gallery::GetInstance().Init();
  GlobalData::globalParam = GlobalParamWrapper::GetInstance();
  upward::Install(&GalleryFileListViewHelper::GetInstance());
  if (good) {
    auto album = std::make_shared<Album>();
    album->AlbumId = "default-album-1";
    album->AlbumName = L"Camera roll";
    album->AlbumType = "0";
    album->Lpath = "/DCIM/Camera";
    album->Classify();
    Gallery::GetInstance().LoadAlbums({album});
    MakePictures(folder + QStringLiteral("/pictures"));
    std::printf("%zu files\n", count);
    PageRun page(folder + QStringLiteral("/pictures"));
    page.Open(count);
    if (day) {
      page.ScrollADay();
    } else {
      page.Scroll();
      page.Zoom();
      page.Select();
      RunListView(count, folder + QStringLiteral("/pictures"), page);
      std::printf("  memory in all %.0f MB\n", ResidentMb());
    }
  }
  QDir(folder).removeRecursively();
  std::fflush(stdout);
  _Exit(good ? 0 : 1);
}
