#pragma once

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QPainter>
#include <QTest>
#include <functional>

#include "common/platform/paths.h"
#include "common/toolkit/resourcequeue.h"
#include "host/base/globalparamwrapper.h"
#include "openpage.h"
#include "support/gallerytest.h"
#include "ui/galleryalbumwnd.h"
#include "ui/pagecontext.h"
#include "ui/view/pageflags.h"
#include "utils/globaldata.h"

// Days are those of UTC, whatever the computer's zone.
inline const int kZoneSet = setenv("TZ", "UTC", 1);

// The page over a gallery with pictures, in a window of 1440 x 900 that no screen shows.
class PageTest : public GalleryTest, protected OpenPage {
 protected:
  static constexpr std::int64_t kToday = 1'699'920'000;  // 14 November 2023, in seconds
  static constexpr std::int64_t kDay = 86'400;

  void SetUp() override {
    upward::Install(&helper);
    GalleryTest::SetUp();
    ForgetChoices();
    GlobalData::globalParam = GlobalParamWrapper::GetInstance();
    GlobalData::searchJump = false;
    GlobalData::multiBubbleShown = false;
  }
  void TearDown() override {
    ClosePage();
    GalleryTest::TearDown();
    upward::Install(static_cast<IAlbumViews*>(nullptr));
  }

  // `count` files of the day that lies `daysAgo` before today, newest first, each with
  // a thumbnail of its own colour.
  Files AddDay(int daysAgo, int count, const std::string& albumId = "default-album-1") {
    Files files;
    for (int i = 0; i < count; ++i) {
      const std::int64_t second = kToday - daysAgo * kDay + kDay - 1 - i;
      auto file = CloudFile("d" + std::to_string(daysAgo) + "-" + std::to_string(i), albumId, second * 1000);
      WriteThumbnail(*file, QSize(i % 3 == 1 ? 240 : 320, i % 3 == 1 ? 320 : 240));
      files.push_back(file);
    }
    Add(files);
    return files;
  }
  static void WriteThumbnail(const GalleryFile& file, QSize size) {
    const QString path = Page::NativeText(file.ThumbnailName());
    QDir().mkpath(QFileInfo(path).path());
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor::fromHsv(static_cast<int>(qHash(path) % 360), 120, 200));
    ASSERT_TRUE(image.save(path, "JPG"));
  }

  void Open(QSize size = {1440, 900}) {
    ASSERT_NO_FATAL_FAILURE(ShowPage(size));
    frame->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(frame.get()));
    Settle();
  }
  // Until layout, thumbnails and messages have come to rest.
  void Settle() {
    for (int round = 0; round < 3; ++round) {
      helper.WaitForConf();
      QCoreApplication::sendPostedEvents();
      QApplication::processEvents();
    }
  }
  // Until the picture of each cell in sight is in memory: one that knows its path may not
  // have been painted yet, and nothing waits for it then.
  bool UntilPictures() {
    return Until([this] {
      bool all = true;
      for (const auto* row : List().Body()->Rows())
        for (int k = 0; row->IsVisible() && k < row->Columns(); ++k) all &= HasItsPicture(*row->Cell(k));
      return all && ResourceQueue::GetInstance().Waiting() == 0;
    });
  }
  static bool HasItsPicture(const CGalleryPictureUI& cell) {
    auto& queue = ResourceQueue::GetInstance();
    const QString& path = cell.ThumbPath();
    if (!cell.File() || path.isEmpty()) return !cell.File();
    return !queue.Get(path, cell.PictureSize()).isNull() || queue.HasFailed(path);
  }
  CGalleryVListUI& List() { return *page->CurrentList(); }
  CGalleryPictureUI* Cell(const FilePtr& file) { return List().CellOf(file.get()); }
  void Click(const FilePtr& file, Qt::KeyboardModifiers keys = {}) {
    auto* cell = Cell(file);
    ASSERT_NE(cell, nullptr);
    QTest::mouseClick(cell, Qt::LeftButton, keys, cell->HitRect().center());
    Settle();
  }
  template <class T>
  T* Find(const char* name) {
    return page->Find<T>(QString::fromLatin1(name));
  }
  bool IsShown(const char* name) {
    auto* control = page->FindControl(QString::fromLatin1(name));
    return control && control->Widget()->isVisible();
  }
  bool IsEnabled(const char* name) {
    auto* control = page->FindControl(QString::fromLatin1(name));
    return control && control->IsEnabled();
  }
  QString Text(const char* name) {
    auto* control = page->FindControl(QString::fromLatin1(name));
    return control ? control->GetText() : QString();
  }
  std::set<FilePtr> Selected() const {
    Files files;
    selection.GetSelectedFiles(files);
    return {files.begin(), files.end()};
  }
  // A picture of the window for whoever asks for some.
  void Keep(const char* name) {
    const QString folder = qEnvironmentVariable("ZENTARA_SCREENSHOTS");
    if (!folder.isEmpty())
      (void)frame->grab().save(folder + u'/' + QString::fromLatin1(name) + QStringLiteral(".png"));
  }

  GalleryFileListViewHelper& helper = GalleryFileListViewHelper::GetInstance();
  GallerySelectHelper& selection = GallerySelectHelper::GetInstance();
};
