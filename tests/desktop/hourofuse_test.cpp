// An hour with the window and the photo cloud on this computer, told in minutes of the
// script and not of a clock: pictures come in, the sync goes on beside, and a person
// scrolls, zooms, looks, chooses, moves, deletes, takes back, downloads. For the thread
// sanitizer above all: ZENTARA_MINUTES=60.

#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QTest>
#include <atomic>
#include <thread>

#include "frametest.h"
#include "model/gallery.h"
#include "sync/synchelper.h"
#include "transfer/gallerytransmanager.h"
#include "ui/galleryalbumwnd.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/view/galleryselecthelper.h"
#include "ui/view/pageflags.h"
#include "ui/viewer/douclickthumui.h"
#include "ui/zentaragallery.h"
#include "utils/messages.h"

namespace {

constexpr int kPerMinute = 4;  // pictures that come in

class HourOfUse : public FrameTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(FrameTest::SetUp());
    ASSERT_NO_FATAL_FAILURE(Open());
    ASSERT_TRUE(Until([this] { return work.IsOpen(); }));
    bool there = false;
    frame->UseHomeCloud([&](const QString& failed) {
      EXPECT_EQ(failed, QString());
      there = true;
    });
    ASSERT_TRUE(Until([&] { return there && HasPage(); }));
  }
  void TearDown() override { End(); }

  ZentaraGallery* Page() const { return frame->GalleryPage(); }
  CGalleryVListUI& List() const { return *Page()->CurrentList(); }
  static Gallery::Files Held() {
    Gallery::Files files;
    Gallery::GetInstance().GetAllFiles(files);
    return files;
  }
  static std::size_t InBin() {
    std::size_t count = 0;
    for (const auto& file : Held()) count += file->IsInBin() ? 1 : 0;
    return count;
  }

  // --- What a minute is made of

  std::vector<std::wstring> MakePictures(int minute) {
    std::vector<std::wstring> paths;
    for (int i = 0; i < kPerMinute; ++i) {
      QImage picture(640, 480, QImage::Format_RGB32);
      picture.fill(QColor::fromHsv(minute * 37 % 360, 100 + i * 30, 220));
      QPainter(&picture).drawText(40, 60, QStringLiteral("%1 %2").arg(minute).arg(i));
      const auto path = folder.Path() / ("card-" + std::to_string(minute) + "-" + std::to_string(i) + ".jpg");
      EXPECT_TRUE(picture.save(QString::fromStdString(path.string())));
      paths.push_back(path.wstring());
    }
    return paths;
  }
  void Import(int minute) {
    if (!album) album = Gallery::GetInstance().CreateAlbum(L"Hour", false, -1);
    ASSERT_NE(album, nullptr);
    const std::size_t before = Held().size();
    Page()->Upload(MakePictures(minute), album);
    ASSERT_TRUE(Until([&] { return Held().size() == before + kPerMinute; }));
  }
  bool IsEnabled(const char* name) const {
    return Page()->FindControl(QString::fromLatin1(name))->IsEnabled();
  }
  void OpenAlbum(AlbumKind kind) { Page()->Panel()->SelectAlbum(SystemAlbumId(kind)); }
  using Wanted = bool (*)(const GalleryFile&);
  static bool Any(const GalleryFile&) { return true; }
  // Others are deleted for good, not recycled.
  static bool IsUploaded(const GalleryFile& file) { return !file.IsLocalOnly(); }
  // On the time line, with pictures to click.
  CGalleryPictureUI* FirstCell(Wanted wanted = Any) {
    OpenAlbum(AlbumKind::TimeLine);
    (void)Until([this] { return CellNow() != nullptr; });
    return CellNow(wanted);
  }
  CGalleryPictureUI* CellNow(Wanted wanted = Any) {
    for (const auto* row : List().Body()->Rows())
      for (int k = 0; row->IsVisible() && k < row->Columns(); ++k)
        if (auto* cell = row->Cell(k); cell->File() && !cell->HitRect().isEmpty() && wanted(*cell->File()))
          return row->Cell(k);
    return nullptr;
  }
  void Scroll() {
    for (int step = 0; step < 12; ++step) {
      QTest::keyClick(&List(), step < 8 ? Qt::Key_Down : Qt::Key_Up);
      QCoreApplication::processEvents();
    }
    QTest::keyClick(&List(), Qt::Key_End);
    QTest::keyClick(&List(), Qt::Key_Home);
  }
  void Zoom(int minute) {
    auto* slider = Page()->Find<CSliderUI>(QStringLiteral("slider_pic"));
    slider->SetValue(1 + minute % 4);
  }
  void Look() {
    auto* cell = FirstCell();
    ASSERT_NE(cell, nullptr);
    const QPoint at = cell->HitRect().center();
    QTest::mouseClick(cell, Qt::LeftButton, {}, at);
    QTest::mouseDClick(cell, Qt::LeftButton, {}, at);
    ASSERT_NE(Page()->Viewer(), nullptr);
    for (const int key : {Qt::Key_Right, Qt::Key_Right, Qt::Key_Plus, Qt::Key_0, Qt::Key_F, Qt::Key_I,
                          Qt::Key_R, Qt::Key_Left, Qt::Key_Escape, Qt::Key_Escape, Qt::Key_Escape}) {
      if (!Page()->Viewer()) break;
      QTest::keyClick(Page()->Viewer(), static_cast<Qt::Key>(key));
      QCoreApplication::processEvents();
    }
    (void)platform::SendMessageW(Page()->GetHWND(), WM_GALLERY_VIEWER_CLOSE_TOP, 0, 0);
    ASSERT_TRUE(Until([this] { return Page()->Viewer() == nullptr; }));
  }
  Gallery::Files Choose(Wanted wanted = Any) {
    auto* cell = FirstCell(wanted);
    if (!cell) return {};
    const auto file = cell->File();
    QTest::mouseClick(cell, Qt::LeftButton, {}, cell->HitRect().center());
    return {file};
  }
  void MoveThereAndBack() {
    const auto files = Choose();
    ASSERT_FALSE(files.empty());
    const auto home = Gallery::GetInstance().GetAlbum(files.front()->AlbumId());
    const auto other = Gallery::GetInstance().AlbumNameIsExist(L"Other");
    const auto target = other ? other : Gallery::GetInstance().CreateAlbum(L"Other", false, -1);
    Page()->MoveTo(files, target);
    ASSERT_TRUE(Until([&] { return files.front()->AlbumId() == target->AlbumId.Get(); }));
    if (home && home != target) Page()->MoveTo(files, home);
  }
  void DeleteAndTakeBack() {
    const auto files = Choose(IsUploaded);
    if (files.empty()) return;
    Page()->Recycle(files);
    ASSERT_TRUE(Until([&] { return files.front()->IsInBin(); }));
    OpenAlbum(AlbumKind::RecycleBin);
    // Rows of the last visit are there at once.
    GalleryFileListViewHelper::GetInstance().WaitForConf();
    ASSERT_TRUE(Until([this] { return CellNow() != nullptr && IsEnabled("btn_multiSelect"); }));
    QTest::keyClick(&List(), Qt::Key_A, Qt::ControlModifier);
    ASSERT_TRUE(Until([this] { return IsEnabled("btn_ReplyFiles"); }));
    QTest::mouseClick(Page()->FindControl(QStringLiteral("btn_ReplyFiles"))->Widget(), Qt::LeftButton);
    ASSERT_TRUE(Until([] { return InBin() == 0; }));
    OpenAlbum(AlbumKind::TimeLine);
  }
  void WalkThePages() {
    for (const auto page :
         {FrameWindow::Home, FrameWindow::Transfers, FrameWindow::Settings, FrameWindow::Gallery}) {
      frame->ShowPage(page);
      QCoreApplication::processEvents();
    }
    for (const auto kind :
         {AlbumKind::AllPictures, AlbumKind::Favorite, AlbumKind::RecentlyUpload, AlbumKind::TimeLine}) {
      OpenAlbum(kind);
      QCoreApplication::processEvents();
    }
  }

  void Minute(int minute) {
    // The tick of this minute, beside all that is done in it.
    std::atomic<bool> ticked{false};
    std::thread tick([&ticked] {
      (void)SyncHelper::GetInstance().RunNext([] { return false; }, [] {});
      ticked = true;
    });
    Scroll();
    Zoom(minute);
    Import(minute);
    if (!HasFatalFailure()) Look();
    if (!HasFatalFailure()) MoveThereAndBack();
    if (!HasFatalFailure()) DeleteAndTakeBack();
    WalkThePages();
    EXPECT_TRUE(Until([&ticked] { return ticked.load(); }));
    tick.join();
  }

  Album::Ptr album;
};

TEST_F(HourOfUse, EndsWithEverythingInTheCloud) {
  const QByteArray given = qgetenv("ZENTARA_MINUTES");
  const int minutes = given.isEmpty() ? 2 : given.toInt();
  for (int minute = 0; minute < minutes && !HasFatalFailure(); ++minute) {
    SCOPED_TRACE("minute " + std::to_string(minute));
    Minute(minute);
  }
  ASSERT_FALSE(HasFatalFailure());
  // Two more ticks, for what came behind the last one.
  for (int i = 0; i < 2; ++i) {
    std::atomic<bool> ticked{false};
    std::thread tick([&ticked] {
      (void)SyncHelper::GetInstance().RunNext([] { return false; }, [] {});
      ticked = true;
    });
    EXPECT_TRUE(Until([&ticked] { return ticked.load(); }));
    tick.join();
  }
  const auto inCloud = [&] {
    const auto files = Held();
    return files.size() == static_cast<std::size_t>(minutes) * kPerMinute &&
           std::none_of(files.begin(), files.end(),
                        [](const GalleryFile::Ptr& file) { return file->IsLocalOnly() || file->IsInBin(); });
  };
  EXPECT_TRUE(Until(inCloud));
}

}  // namespace
