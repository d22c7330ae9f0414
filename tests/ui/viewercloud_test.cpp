// The viewer over pictures that only the cloud has: the real server.

#include <gmock/gmock.h>

#include <QBuffer>
#include <QImage>

#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "contenttest.h"
#include "host/base/globalparamwrapper.h"
#include "openpage.h"
#include "transfer/thumbnails/gallerythumbnailmodule.h"
#include "ui/view/pageflags.h"
#include "ui/viewer/douclickthumui.h"
#include "ui/viewer/lcdpictures.h"
#include "ui/viewer/viewerlist.h"
#include "utils/globaldata.h"
#include "utils/messages.h"

namespace {

using ZentaraDeskClient::GalleryThumbnailModule;

class ViewerCloudTest : public ContentTest, protected OpenPage {
 protected:
  void SetUp() override {
    upward::Install(&GalleryFileListViewHelper::GetInstance());
    ContentTest::SetUp();
    GlobalData::globalParam = GlobalParamWrapper::GetInstance();
    GlobalData::multiBubbleShown = false;
    ASSERT_TRUE(GalleryThumbnailModule::GetInstance().StartFetching());
  }
  void TearDown() override {
    GalleryThumbnailModule::GetInstance().Stop();
    ClosePage();
    LcdPictures::GetInstance().Clear();
    ViewerList::Clear();
    LcdPictures::GetInstance().WaitIdle();
    ContentTest::TearDown();
    upward::Install(static_cast<IAlbumViews*>(nullptr));
  }
  // A picture without a pattern, which does not become small.
  static std::string NoisePicture(QSize size) {
    QImage image(size, QImage::Format_RGB32);
    const std::string noise = Noise(static_cast<std::size_t>(image.sizeInBytes()));
    std::copy(noise.begin(), noise.end(), image.bits());
    QByteArray bytes;
    QBuffer buffer(&bytes);
    EXPECT_TRUE(buffer.open(QIODevice::WriteOnly) && image.save(&buffer, "JPG", 90));
    return bytes.toStdString();
  }
  // A picture of the cloud; on this computer is its thumbnail alone.
  FilePtr OnlyInTheCloud() {
    const auto file = Source("cloud", NoisePicture({640, 480}));
    const auto lcd = platform::NativePath(file->LcdName());
    EXPECT_FALSE(platform::ReplaceAtomically(lcd, NoisePicture({1600, 1200})));
    EXPECT_FALSE(
        platform::ReplaceAtomically(platform::NativePath(file->ThumbnailName()), NoisePicture({320, 240})));
    EXPECT_TRUE(Upload(file));
    std::filesystem::remove(platform::NativePath(file->LocalPath()));
    std::filesystem::remove(platform::NativePath(file->LcdName()));
    (void)file->TestLcdOnDisk();
    server.ForgetRequests();
    return file;
  }
  void OpenViewer(const FilePtr& file) {
    ShowPage();
    ASSERT_TRUE(Until([this] { return Cell() != nullptr; }));
    const QPoint at = Cell()->rect().center();
    QTest::mouseClick(Cell(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(Cell(), Qt::LeftButton, {}, at);
    ASSERT_NE(page->Viewer(), nullptr);
    ASSERT_EQ(page->Viewer()->Shown(), file);
    ring = page->Viewer()->Find<PCCircleProgressUI>(QStringLiteral("CircleProgress"));
    ASSERT_NE(ring, nullptr);
  }

  PCCircleProgressUI* ring = nullptr;
};

TEST_F(ViewerCloudTest, TheRingTellsHowMuchOfThePictureHasCome) {
  const auto file = OnlyInTheCloud();
  OpenViewer(file);
  std::set<int> seen;
  QObject::connect(ring, &QProgressBar::valueChanged, ring, [&](int value) {
    if (page->Viewer()->IsLoading()) seen.insert(value);
  });
  ASSERT_TRUE(Until(
      [&] { return LcdPictures::GetInstance().Has(file, page->Viewer()->Lcd()->Box()); }));
  EXPECT_TRUE(Until([&] { return !page->Viewer()->IsLoading(); }));
  // Of more than a megabyte that comes in pieces of 16 KB.
  EXPECT_GT(std::count_if(seen.begin(), seen.end(), [](int value) { return value > 0 && value < 100; }), 10);
  EXPECT_TRUE(seen.contains(100));
  EXPECT_EQ(page->Viewer()->Lcd()->Picture().image.isNull(), false);
}

TEST_F(ViewerCloudTest, ARingOfAPictureThatWasLeftIsNotShown) {
  const auto file = OnlyInTheCloud();
  server.Fault(R"({"method":"GET","path":"/objects/","times":0,"delayMs":3600000})");
  OpenViewer(file);
  ASSERT_TRUE(Until([&] { return page->Viewer()->IsLoading(); }));
  (void)platform::SendMessageW(GlobalData::viewerWnd, WM_GALLERY_VIEWER_CLOSE, 0, 0);
  EXPECT_EQ(page->Viewer(), nullptr);
  server.Kill();  // Nobody waits for its answer any longer.
}

TEST_F(ViewerCloudTest, APictureThatTheCloudDoesNotGiveKeepsThePlaceholder) {
  const auto file = OnlyInTheCloud();
  server.Kill();
  OpenViewer(file);
  ASSERT_TRUE(Until([&] { return page->Viewer()->IsLoading(); }));
  EXPECT_TRUE(Until([&] { return !page->Viewer()->IsLoading(); }));
  const QImage shown = page->Viewer()->Lcd()->grab().toImage();
  EXPECT_NE(shown.pixelColor(shown.rect().center()), shown.pixelColor(1, 1));
}

}  // namespace
