// Files that another program drops on the page.

#include <QDropEvent>
#include <QMimeData>
#include <QTimer>
#include <QUrl>

#include "common/toolkit/button.h"
#include "pagetest.h"
#include "transfer/thumbnails/thumbnailhelper.h"
#include "ui/dialogs/movepicwnd.h"

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

TEST_F(PageDropTest, TheBinTakesNothing) {
  AddDay(0, 2);
  Open();
  ShowAlbum("btn_delete_photo");
  ASSERT_TRUE(page->CurrentAlbum()->IsBin());
  EXPECT_FALSE(Drop({Picture("a.jpg")}));
}

}  // namespace
