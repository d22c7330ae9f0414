// Files that another program drops on the page.

#include <QDropEvent>
#include <QLabel>
#include <QMimeData>
#include <QTimer>
#include <QUrl>

#include "common/toolkit/button.h"
#include "common/toolkit/overlays.h"
#include "common/toolkit/resourcemanager.h"
#include "pagetest.h"
#include "transfer/thumbnails/thumbnailhelper.h"
#include "ui/dialogs/movepicwnd.h"
#include "ui/dialogs/uploadexceptionwnd.h"
#include "ui/dragpicture.h"
#include "utils/messages.h"

namespace {

class PageDropTest : public PageTest {
 protected:
  void SetUp() override {
    PageTest::SetUp();
    upward::Install(static_cast<IThumbnails*>(&ThumbnailHelper::GetInstance()));
  }
  void TearDown() override {
    PageTest::TearDown();
    upward::Install(static_cast<IThumbnails*>(nullptr));
  }
  // A picture that was not written this very second, as such are still being written.
  QUrl Picture(const char* name, const char* inFolder = "") {
    const QString path = QString::fromStdString((folder.Path() / "in" / inFolder / name).string());
    EXPECT_TRUE(QDir().mkpath(QFileInfo(path).path()));
    QImage image(320, 240, QImage::Format_RGB32);
    image.fill(QColor::fromHsv(static_cast<int>(qHash(path) % 360), 120, 200));
    EXPECT_TRUE(image.save(path, "JPG"));
    std::filesystem::last_write_time(path.toStdString(),
                                     std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    return QUrl::fromLocalFile(path);
  }
  // The question where they go, while it has the focus.
  static UpLoadFilesWnd* OpenDialog() {
    for (QWidget* at = QApplication::focusWidget(); at; at = at->parentWidget())
      if (auto* dialog = dynamic_cast<UpLoadFilesWnd*>(at)) return dialog;
    return nullptr;
  }
  // Whether the page takes them.
  bool Drop(const QList<QUrl>& urls) {
    QMimeData data;
    data.setUrls(urls);
    const QPoint point = page->FindControl(QStringLiteral("right_page"))->Widget()->geometry().center();
    QDragEnterEvent enter(point, Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(page.get(), &enter);
    if (!enter.isAccepted()) return false;
    QDropEvent drop(QPointF(point), Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(page.get(), &drop);
    return drop.isAccepted();
  }
  // A drag of the page's own pictures that ends on an album of the panel.
  bool DropPicturesOn(QWidget& album) {
    QMimeData data;
    data.setData(kPicturesMime, {});
    const QPoint point = page->mapFromGlobal(album.mapToGlobal(album.rect().center()));
    QDragEnterEvent enter(point, Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(page.get(), &enter);
    QDropEvent drop(QPointF(point), Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(page.get(), &drop);
    return drop.isAccepted();
  }
  CButtonUI& AlbumButton() {
    page->Panel()->Reload();
    return *page->Panel()->Find<CButtonUI>(QStringLiteral("btn_custom_album"));
  }
  // What the page has said last.
  QString Said() {
    for (QWidget* widget : frame->findChildren<QWidget*>()) {
      auto* toast = dynamic_cast<Toast*>(widget);
      if (!toast || toast->isHidden()) continue;
      for (const auto* label : toast->findChildren<QLabel*>())
        if (!label->text().isEmpty()) return label->text();
    }
    return {};
  }
  void ShowAlbum(const char* button) {
    QTest::mouseClick(page->Panel()->Find<CButtonUI>(QString::fromLatin1(button)), Qt::LeftButton);
    Settle();
  }
  std::size_t FilesOf(const std::wstring& album) {
    const auto found = gallery.AlbumNameIsExist(album);
    return found ? found->FileCount() : 0;
  }
};

TEST_F(PageDropTest, PicturesGoToTheAlbumThatTheUserChooses) {
  AddDay(0, 2);
  ASSERT_NE(gallery.CreateAlbum(L"Harbour", false, -1), nullptr);
  Open();
  bool asked = false;
  QTimer answer;
  QObject::connect(&answer, &QTimer::timeout, [&asked] {
    auto* dialog = OpenDialog();
    if (!dialog) return;
    for (auto* tile : dialog->findChildren<QAbstractButton*>(QStringLiteral("tile_album")))
      if (tile->text() == QStringLiteral("Harbour")) QTest::mouseClick(tile, Qt::LeftButton);
    if (!dialog->Chosen()) return;
    asked = true;
    QTest::mouseClick(dialog->FindControl(QStringLiteral("btn_ok"))->Widget(), Qt::LeftButton);
  });
  answer.start(20);
  ASSERT_TRUE(Drop({Picture("a.jpg"), Picture("b.jpg")}));
  EXPECT_TRUE(Until([this] { return FilesOf(L"Harbour") == 2; }));
  EXPECT_TRUE(asked);
}

TEST_F(PageDropTest, FolderGoesToTheAlbumOfItsNameUnasked) {
  AddDay(0, 2);
  Open();
  (void)Picture("a.jpg", "Trip");
  (void)Picture("b.jpg", "Trip");
  ASSERT_TRUE(Drop({QUrl::fromLocalFile(QString::fromStdString((folder.Path() / "in" / "Trip").string()))}));
  EXPECT_TRUE(Until([this] { return FilesOf(L"Trip") == 2; }));
}

TEST_F(PageDropTest, OpenAlbumTakesWhatIsDroppedOnIt) {
  AddDay(0, 2);
  const auto album = gallery.CreateAlbum(L"Harbour", false, -1);
  ASSERT_NE(album, nullptr);
  Open();
  ShowAlbum("btn_custom_album");
  ASSERT_EQ(page->CurrentAlbum(), album);
  ASSERT_TRUE(Drop({Picture("a.jpg")}));
  EXPECT_TRUE(Until([this] { return FilesOf(L"Harbour") == 1; }));
}

TEST_F(PageDropTest, WhatLiesInARecycleBinIsNotTakenAndNothingIsClosed) {
  AddDay(0, 2);
  Open();
  const auto before = gallery.FileCount();
  ASSERT_TRUE(Drop({Picture("a.jpg", "$RECYCLE.BIN"), Picture("b.jpg", "$Recycle.Bin/S-1-5"),
                    Picture("c.jpg", ".Trash-1000/files")}));
  Settle();
  EXPECT_EQ(OpenDialog(), nullptr);
  EXPECT_TRUE(page->isVisible());
  EXPECT_EQ(gallery.FileCount(), before);
}

// The host's window, as far as it hears of uploads. The path of a cover is its own.
struct Listener : WindowImplBaseEx {
  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override {
    if (uMsg == WM_GALLERY_UPLOAD_BUSY) busy.push_back(wParam);
    if (uMsg == WM_GALLERY_ALBUM_COVER) delete reinterpret_cast<std::wstring*>(lParam);
    return WindowImplBaseEx::HandleMessage(uMsg, wParam, lParam, handled);
  }
  std::vector<WPARAM> busy;
};

TEST_F(PageDropTest, HostIsToldWhenFilesComeInAndWhenTheyAreThere) {
  const auto album = gallery.CreateAlbum(L"Harbour", false, -1);
  AddDay(0, 2);
  Listener host;
  ASSERT_TRUE(host.Create(static_cast<QWidget*>(nullptr), QStringLiteral("host"), WindowStyle::Frame));
  GlobalData::mainWnd = host.GetHWND();
  Open();
  page->Upload({Picture("a.jpg").toLocalFile().toStdWString()}, album);
  EXPECT_TRUE(Until([&host] { return host.busy.size() == 2; }));
  EXPECT_EQ(host.busy, (std::vector<WPARAM>{1, 0}));
  GlobalData::mainWnd = nullptr;
}

TEST_F(PageDropTest, LinkIsFollowedToWhatItNames) {
  AddDay(0, 2);
  Open();
  (void)Picture("a.jpg", "Trip");
  const QUrl link = Picture("b.jpg").adjusted(QUrl::RemoveFilename);
  const QString path = link.toLocalFile() + QStringLiteral("Trip.desktop");
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  file.write("[Desktop Entry]\nVersion=1.0\nType=Link\nName=Trip\nURL=" + link.toEncoded() + "Trip\n");
  file.close();
  ASSERT_TRUE(Drop({QUrl::fromLocalFile(path)}));
  EXPECT_TRUE(Until([this] { return FilesOf(L"Trip") == 1; }));
}

TEST_F(PageDropTest, DropThatNamesNothingSaysSo) {
  AddDay(0, 2);
  Open();
  // As when the program that they come from has ended before it was asked.
  ASSERT_TRUE(Drop({}));
  Settle();
  EXPECT_EQ(Said(), CResourceManager::GetText(QStringLiteral("IDS_GALLERY_DROP_NOTHING")));
}

TEST_F(PageDropTest, PicturesThatAreDraggedOntoTheirOwnAlbumStayAsTheyAre) {
  const auto album = gallery.CreateAlbum(L"Harbour", false, -1);
  const auto own = AddDay(0, 2, album->AlbumId.Get());
  Open();
  ASSERT_TRUE(UntilPictures());
  // In the album itself, and from the time line.
  for (const bool inside : {true, false}) {
    const std::string shown = inside ? album->AlbumId.Get() : SystemAlbumId(AlbumKind::TimeLine);
    page->Panel()->SelectAlbum(shown);
    // The layout comes from a worker, and both have the file.
    ASSERT_TRUE(Until([&] { return helper.CurrentAlbumId() == shown; }));
    Settle();
    ASSERT_TRUE(Until([this, &own] { return Cell(own[0]) != nullptr; }));
    ASSERT_TRUE(UntilPictures());
    Click(own[0]);
    ASSERT_EQ(Selected(), std::set<FilePtr>{own[0]});
    EXPECT_EQ(DropPicturesOn(AlbumButton()), !inside);
    Settle();
    EXPECT_EQ(Selected(), std::set<FilePtr>{own[0]}) << inside;
    EXPECT_EQ(Said(), QString()) << inside;
    EXPECT_EQ(album->FileCount(), 2u);
  }
}

TEST_F(PageDropTest, PicturesThatAreDraggedOntoAnAlbumGoThere) {
  const auto files = AddDay(0, 3);
  const auto album = gallery.CreateAlbum(L"Harbour", false, -1);
  Open();
  ASSERT_TRUE(UntilPictures());
  Click(files[1]);
  EXPECT_TRUE(DropPicturesOn(AlbumButton()));
  EXPECT_TRUE(Until([&] { return album->FileCount() == 1; }));
  EXPECT_EQ(files[1]->AlbumId(), album->AlbumId.Get());
  EXPECT_EQ(Selected(), std::set<FilePtr>());
}

// A file of the same name is there already: it stays where it was, and that is told.
TEST_F(PageDropTest, ConflictOfAMoveIsToldFileByFile) {
  const auto album = gallery.CreateAlbum(L"Harbour", false, -1);
  const auto there = CloudFile("there", album->AlbumId.Get(), (kToday - kDay) * 1000);
  there->SetFileName(L"same.jpg");
  WriteThumbnail(*there, {320, 240});
  Add({there});
  const auto files = AddDay(0, 3);
  files[0]->SetFileName(L"same.jpg");
  Open();
  ASSERT_TRUE(UntilPictures());
  List().OnSelectAllKey(0);  // That of the album itself has nowhere to go.
  ASSERT_EQ(Selected().size(), 4u);
  QStringList told;
  QTimer answer;
  QObject::connect(&answer, &QTimer::timeout, [&told] {
    for (QWidget* at = QApplication::focusWidget(); at; at = at->parentWidget()) {
      auto* dialog = dynamic_cast<UploadExceptionWnd*>(at);
      if (!dialog || !told.isEmpty()) continue;
      for (const auto* label : dialog->findChildren<QLabel*>()) told << label->text();
      dialog->Close(IDCANCEL);
    }
  });
  answer.start(20);
  EXPECT_TRUE(DropPicturesOn(AlbumButton()));
  EXPECT_TRUE(Until([&told] { return !told.isEmpty(); }));
  EXPECT_TRUE(told.contains(QStringLiteral("same.jpg")));
  EXPECT_TRUE(told.contains(CResourceManager::GetText(QStringLiteral("IDS_GALLERT_UPLOADEX_FILE_EXIST"))));
  EXPECT_TRUE(told.contains(CResourceManager::GetPluralText(QStringLiteral("IDS_GALLERY_LEFT_TITLE"), 1)));
  EXPECT_EQ(files[1]->AlbumId(), album->AlbumId.Get());
  EXPECT_NE(files[0]->AlbumId(), album->AlbumId.Get());
}

TEST_F(PageDropTest, TheBinTakesNothing) {
  AddDay(0, 2);
  Open();
  ShowAlbum("btn_delete_photo");
  ASSERT_TRUE(page->CurrentAlbum()->IsBin());
  EXPECT_FALSE(Drop({Picture("a.jpg")}));
}

}  // namespace
