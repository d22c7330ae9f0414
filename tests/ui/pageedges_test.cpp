// What the page does at the edges: few rows, the end of the range, messages that nobody
// waits for, drops of what has been thrown away.

#include <QDropEvent>
#include <QMimeData>
#include <QUrl>
#include <QWheelEvent>
#include <fstream>

#include "common/toolkit/button.h"
#include "common/toolkit/resourcemanager.h"
#include "host/base/jsonfile.h"
#include "pagetest.h"
#include "ui/timescrollbar.h"
#include "ui/userproperties.h"
#include "utils/messages.h"

namespace {

class PageEdgeTest : public PageTest {
 protected:
  void SetUp() override {
    PageTest::SetUp();
    UserProperties::Set(UserProperties::kTipSeen, 1);
    UserProperties::Set(UserProperties::kRowCount, 2);  // six columns
  }
  void TearDown() override {
    GlobalData::mainWnd = nullptr;
    PageTest::TearDown();
  }
  // What the account may not do, by number.
  void CloseFunctions(const char* list) {
    std::filesystem::create_directories(JsonFile::Folder());
    std::ofstream(JsonFile::Folder() / "settings.json") << R"({"closedFunctions":)" << list << "}";
    ASSERT_TRUE(GlobalParamWrapper::GetInstance()->Load());
  }
  // The layout comes from a worker.
  bool UntilRows(std::size_t count) {
    return Until([this, count] { return List().Body()->Rows().size() >= count; }) && UntilPictures();
  }
  std::size_t ShownRows() {
    const auto& rows = List().Body()->Rows();
    return static_cast<std::size_t>(
        std::count_if(rows.begin(), rows.end(), [](const auto* row) { return row->IsVisible(); }));
  }
  bool Drop(const QString& path) {
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(path)});
    const QPoint point = page->FindControl(QStringLiteral("right_page"))->Widget()->geometry().center();
    QDragEnterEvent enter(point, Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(page.get(), &enter);
    QDropEvent drop(QPointF(point), Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(page.get(), &drop);
    return drop.isAccepted();
  }
};

// The host's window, as far as the page talks to it.
class HostWindow : public WindowImplBaseEx {
 public:
  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override {
    if (uMsg == WM_GALLERY_DROP_LIST) {
      dropped = QString::fromStdWString(*reinterpret_cast<const std::wstring*>(lParam));
      handled = true;
      return 1;
    }
    if (uMsg == WM_GALLERY_ALBUM_COVER) {
      const std::unique_ptr<std::wstring> path(reinterpret_cast<std::wstring*>(lParam));
      covers << QString::fromStdWString(*path);
      handled = true;
      return 0;
    }
    if (uMsg == WM_GALLERY_ALBUM_COMMAND) {
      command = lParam;
      handled = true;
      return 7;
    }
    return WindowImplBaseEx::HandleMessage(uMsg, wParam, lParam, handled);
  }
  QString dropped;
  QStringList covers;
  LPARAM command = 0;
};

TEST_F(PageEdgeTest, RowsOfAnAlbumThatShrinksGoAndComeBackWhenItGrows) {
  const auto today = AddDay(0, 60);
  Open();
  ASSERT_TRUE(UntilRows(11));  // a header and ten rows
  const std::size_t before = List().Body()->Rows().size();
  const Files gone(today.begin() + 6, today.end());
  ASSERT_EQ(gallery.RecycleFiles(gone, false), gone.size());
  ASSERT_TRUE(Until([this] { return List().Body()->Rows().size() == 2; }));  // header and one row
  EXPECT_EQ(ShownRows(), 2u);
  ASSERT_EQ(gallery.RecoverFiles(gone, false), gone.size());
  EXPECT_TRUE(Until([&] { return List().Body()->Rows().size() == before; }));
}

TEST_F(PageEdgeTest, ShortRowOfADayKeepsBlankDisabledCellsOfTheSameWidth) {
  const auto today = AddDay(0, 4);
  Open();
  ASSERT_TRUE(UntilRows(2));
  const auto* row = List().Body()->Rows()[1];
  ASSERT_EQ(row->Columns(), 6);
  const int width = row->Cell(0)->width();
  for (int k = 0; k < 6; ++k) {
    EXPECT_TRUE(row->Cell(k)->isVisibleTo(page.get())) << k;
    EXPECT_EQ(row->Cell(k)->IsEnabled(), k < 4) << k;
    EXPECT_EQ(row->Cell(k)->File() != nullptr, k < 4) << k;
    EXPECT_NEAR(row->Cell(k)->width(), width, 1) << k;
  }
  EXPECT_FALSE(row->Cell(6)->isVisibleTo(page.get()));
}

TEST_F(PageEdgeTest, WithoutARowHeightTheFirstRowIsTheFirst) {
  AddDay(0, 30);
  Open();
  ASSERT_TRUE(UntilPictures());
  page->Panel()->SelectAlbum("default-album-1");
  ASSERT_TRUE(Until([this] { return IsShown("nor_VirList"); }));
  ASSERT_TRUE(UntilPictures());
  List().InitElement(GridGeometry::kPoolRows, 0);
  ASSERT_FALSE(List().Body()->Rows().empty());
  EXPECT_EQ(List().Body()->Rows()[0]->GetPos().top(), 0);
  EXPECT_EQ(List().Body()->Rows()[0]->Cell(0)->File(), helper.GetFileByIndex(0));
}

TEST_F(PageEdgeTest, WheelAtTheEndOfTheRangeMovesNothing) {
  AddDay(0, 90);
  Open();
  ASSERT_TRUE(UntilPictures());
  QTest::keyClick(&List(), Qt::Key_End);
  Settle();
  const QSize end = List().GetScrollPos();
  ASSERT_GT(end.height(), 0);
  const QPoint middle = List().rect().center();
  QWheelEvent wheel(middle, List().mapToGlobal(middle), {}, {0, -120}, Qt::NoButton, {}, Qt::NoScrollPhase,
                    false);
  QApplication::sendEvent(&List(), &wheel);
  EXPECT_EQ(List().GetScrollPos(), end);
}

// Its own margins of 30 at both ends are room for the content.
TEST_F(PageEdgeTest, TimeLineThatIsHigherByLessThanItsMarginsHasNoBar) {
  AddDay(0, 18);  // three rows and a header
  Open({1440, 900});
  ASSERT_TRUE(UntilRows(4));
  const auto* bar = dynamic_cast<CTimeAlbumBodyUI&>(*List().Body()).TimeBar();
  ASSERT_NE(bar, nullptr);
  const int content = List().Body()->Rows()[3]->GetPos().bottom() + 1;
  const int around = frame->height() - List().Body()->height();
  frame->resize(1440, content + around + 1);
  page->resize(frame->width() - 84, frame->height());
  Settle();
  EXPECT_FALSE(bar->isVisible());
  frame->resize(1440, content + around - 80);
  page->resize(frame->width() - 84, frame->height());
  Settle();
  EXPECT_GT(List().GetScrollRange().height(), 0);
}

TEST_F(PageEdgeTest, MemberOfABurstHasNoMarkOfItsOwn) {
  const auto today = AddDay(0, 2);
  Open();
  ASSERT_TRUE(UntilRows(2));
  auto* cell = Cell(today[0]);
  ASSERT_NE(cell, nullptr);
  const QImage plain = cell->grab().toImage();
  today[0]->ContinuousType = 2;
  today[0]->TakeMember(today[1]);
  EXPECT_EQ(cell->grab().toImage(), plain);
  today[0]->ContinuousType = 1;
  EXPECT_NE(cell->grab().toImage(), plain);
}

TEST_F(PageEdgeTest, SizeThatDoesNotChangeAsksForNoLayout) {
  AddDay(0, 3);
  Open();
  ASSERT_TRUE(UntilPictures());
  testing::internal::CaptureStderr();
  (void)platform::SendMessageW(page->GetHWND(), WM_GALLERY_SIZE_AGAIN, 0, 0);
  page->move(page->x(), page->y());
  Settle();
  EXPECT_EQ(testing::internal::GetCapturedStderr().find("virList window resize"), std::string::npos);
}

TEST_F(PageEdgeTest, DropOfWhatLiesInABinUploadsNothing) {
  AddDay(0, 2);
  const auto album = gallery.CreateAlbum(L"Harbour", false, -1);
  Open();
  page->Panel()->Reload();
  page->Panel()->SelectAlbum(album->AlbumId.Get());
  Settle();
  for (const char* bin :
       {"$RECYCLE.BIN", "$Recycle.Bin", ".Trash-1000/files", ".Trash/1000", "share/Trash/files"}) {
    const QString in = QString::fromStdString(folder.Path().string()) + u'/' + QString::fromLatin1(bin);
    ASSERT_TRUE(QDir().mkpath(in));
    QImage picture(64, 64, QImage::Format_RGB32);
    picture.fill(Qt::green);
    ASSERT_TRUE(picture.save(in + QStringLiteral("/a.jpg")));
    EXPECT_TRUE(Drop(in + QStringLiteral("/a.jpg"))) << bin;
    Settle();
    EXPECT_EQ(page->CurrentAlbum(), album);
    EXPECT_FALSE(IsShown("pUploadProcessWnd"));
  }
  EXPECT_EQ(album->FileCount(), 0u);
}

TEST_F(PageEdgeTest, WhoMayNotUploadIsToldByTheHost) {
  AddDay(0, 1);
  HostWindow host;
  ASSERT_TRUE(host.Create(static_cast<QWidget*>(nullptr), QStringLiteral("host"), WindowStyle::Frame));
  GlobalData::mainWnd = host.GetHWND();
  Open();
  CloseFunctions(R"(["4"])");
  (void)Drop(QStringLiteral("/none.jpg"));
  CloseFunctions("[]");
  EXPECT_EQ(host.dropped, CResourceManager::GetText(QStringLiteral("IDS_MAIN_TOAST_UPGRADETIP")));
}

TEST_F(PageEdgeTest, CoverThatChangesIsToldToTheHost) {
  const auto album = gallery.CreateAlbum(L"Harbour", false, -1);
  const auto today = AddDay(0, 2, album->AlbumId.Get());
  HostWindow host;
  ASSERT_TRUE(host.Create(static_cast<QWidget*>(nullptr), QStringLiteral("host"), WindowStyle::Frame));
  GlobalData::mainWnd = host.GetHWND();
  ASSERT_EQ(gallery.RecycleFiles({today[0]}, false), 1u);
  const QString cover = QString::fromStdWString(today[1]->ThumbnailName());
  EXPECT_TRUE(Until([&] { return host.covers.contains(cover); }));
}

// The size of the frame comes from pictures for some scales; at others there is none, and
// the date stands by itself.
TEST_F(PageEdgeTest, DateBesideTheBarHasItsFrameAtTheScalesThatHaveOne) {
  AddDay(0, 200);
  AddDay(40, 200);
  Open();
  ASSERT_TRUE(UntilPictures());
  const auto framed = [this](int dpi) {
    (void)platform::SendMessageW(page->GetHWND(), WM_GALLERY_DPI, static_cast<WPARAM>(dpi), 0);
    Settle();
    EXPECT_TRUE(UntilPictures());
    auto* bar = dynamic_cast<CTimeAlbumBodyUI&>(*List().Body()).TimeBar();
    QTest::mousePress(bar, Qt::LeftButton, {}, {bar->width() / 2, 200});
    auto* bubble = bar->parentWidget()->findChild<QWidget*>(QStringLiteral("TimeFrame"));
    EXPECT_TRUE(bubble && bubble->isVisible());
    Keep(("date-" + std::to_string(dpi)).c_str());
    if (!bubble) return QSize();
    QImage image(bubble->size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    bubble->render(&image, {}, {}, QWidget::DrawChildren);
    QTest::mouseRelease(bar, Qt::LeftButton, {}, {bar->width() / 2, 200});
    int written = 0;
    for (int x = 0; x < image.width(); ++x) written += qAlpha(image.pixel(x, image.height() / 2)) > 0;
    EXPECT_GT(written, 0) << dpi;
    return qAlpha(image.pixel(image.width() / 2, 1)) > 0 ? image.size() : QSize();
  };
  EXPECT_EQ(framed(96), QSize(98, 24));
  EXPECT_EQ(framed(106), QSize());  // 110 %
  EXPECT_EQ(framed(120), QSize(123, 30));
}

TEST_F(PageEdgeTest, CommandOfThePanelReachesItsOwner) {
  AddDay(0, 1);
  Open();
  struct Taker : IMessageFilterUI {
    LRESULT MessageHandler(UINT uMsg, WPARAM, LPARAM lParam, bool& handled) override {
      if (uMsg != WM_GALLERY_ALBUM_COMMAND) return 0;
      handled = true;
      return lParam + 1;
    }
  } taker;
  page->Manager().AddPreMessageFilter(&taker);
  EXPECT_EQ(platform::SendMessageW(page->Panel()->GetHWND(), WM_GALLERY_ALBUM_COMMAND, 0, 41), 42);
  page->Manager().RemovePreMessageFilter(&taker);
}

}  // namespace
