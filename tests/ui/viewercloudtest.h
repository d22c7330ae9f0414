#pragma once

#include <QBuffer>
#include <QImage>

#include "cloudpagetest.h"
#include "common/platform/files.h"
#include "common/platform/paths.h"
#include "transfer/thumbnails/gallerythumbnailmodule.h"
#include "ui/viewer/douclickthumui.h"
#include "ui/viewer/lcdpictures.h"
#include "ui/viewer/viewerlist.h"

// The viewer over such a page.
class ViewerCloudTest : public CloudPageTest {
 protected:
  void SetUp() override {
    CloudPageTest::SetUp();
    ASSERT_TRUE(ZentaraDeskClient::GalleryThumbnailModule::GetInstance().StartFetching());
  }
  void TearDown() override {
    ZentaraDeskClient::GalleryThumbnailModule::GetInstance().Stop();
    ClosePage();
    LcdPictures::GetInstance().Clear();
    ViewerList::Clear();
    LcdPictures::GetInstance().WaitIdle();
    CloudPageTest::TearDown();
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
  FilePtr OnlyInTheCloud(const std::string& name = "cloud") {
    const auto file = InTheCloud(name);
    std::filesystem::remove(platform::NativePath(file->LocalPath()));
    std::filesystem::remove(platform::NativePath(file->LcdName()));
    (void)file->TestLcdOnDisk();
    server.ForgetRequests();
    return file;
  }
  // One whose original and thumbnails are on this computer, too.
  FilePtr InTheCloud(const std::string& name) {
    const auto file = Source(name, NoisePicture({640, 480}));
    const auto lcd = platform::NativePath(file->LcdName());
    EXPECT_FALSE(platform::ReplaceAtomically(lcd, NoisePicture({1600, 1200})));
    EXPECT_FALSE(
        platform::ReplaceAtomically(platform::NativePath(file->ThumbnailName()), NoisePicture({320, 240})));
    EXPECT_TRUE(Upload(file));
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
