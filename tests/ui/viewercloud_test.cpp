// The viewer over pictures that only the cloud has: the real server.

#include <gmock/gmock.h>

#include "utils/messages.h"
#include "viewercloudtest.h"

namespace {

TEST_F(ViewerCloudTest, TheRingTellsHowMuchOfThePictureHasCome) {
  const auto file = OnlyInTheCloud();
  OpenViewer(file);
  std::set<int> seen;
  QObject::connect(ring, &QProgressBar::valueChanged, ring, [&](int value) {
    if (page->Viewer()->IsLoading()) seen.insert(value);
  });
  ASSERT_TRUE(Until([&] { return LcdPictures::GetInstance().Has(file, page->Viewer()->Lcd()->Box()); }));
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
