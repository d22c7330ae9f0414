// The viewer over pictures that only the cloud has: the real server.

#include <gmock/gmock.h>

#include <fstream>

#include "loopbackserver.h"
#include "transfer/thumbnails/thumbnailhelper.h"
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
  // The window hears of a picture only after that is in memory.
  EXPECT_TRUE(Until([&] { return !page->Viewer()->Lcd()->Picture().image.isNull(); }));
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

// Whether a control that was seen has gone.
class HideWatch : public QObject {
 public:
  bool hidden = false;

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    hidden = hidden || event->type() == QEvent::Hide;
    return false;
  }
};

TEST_F(ViewerCloudTest, APictureThatTheCloudDoesNotGiveKeepsThePlaceholder) {
  const auto file = OnlyInTheCloud();
  server.Kill();
  OpenViewer(file);
  // A service that is gone refuses at once: nobody would see the ring by looking now and then.
  HideWatch watch;
  ring->installEventFilter(&watch);
  ASSERT_TRUE(Until([&] { return watch.hidden; }));
  EXPECT_FALSE(page->Viewer()->IsLoading());
  const QImage shown = page->Viewer()->Lcd()->grab().toImage();
  EXPECT_NE(shown.pixelColor(shown.rect().center()), shown.pixelColor(1, 1));
}

// --- A picture that could not be had at first

class LaterPictureTest : public ViewerCloudTest {
 protected:
  // Shown while the cloud gives nothing; it does again afterwards.
  void OpenInVain() {
    file = OnlyInTheCloud();
    server.Fault(R"({"method":"GET","path":"/objects/","times":0,"status":503})");
    OpenViewer(file);
    HideWatch watch;
    ring->installEventFilter(&watch);
    ASSERT_TRUE(Until([&] { return watch.hidden; }));
    server.ClearFaults();
  }
  bool Comes() {
    return QTest::qWaitFor(
        [this] { return LcdPictures::GetInstance().Has(file, page->Viewer()->Lcd()->Box()); }, 10000);
  }
  FilePtr file;
};

TEST_F(LaterPictureTest, ComesWhenItIsLookedAtAgain) {
  ASSERT_NO_FATAL_FAILURE(OpenInVain());
  (void)platform::SendMessageW(GlobalData::viewerWnd, WM_GALLERY_VIEWER_CLOSE, 0, 0);
  const QPoint at = Cell()->rect().center();
  QTest::mouseDClick(Cell(), Qt::LeftButton, {}, at);
  ASSERT_NE(page->Viewer(), nullptr);
  EXPECT_TRUE(Comes());
}

TEST_F(LaterPictureTest, ComesWithTheNextNewsOfTheAlbumWhileItIsShown) {
  ASSERT_NO_FATAL_FAILURE(OpenInVain());
  (void)platform::SendMessageW(GlobalData::viewerWnd, WM_GALLERY_RELOAD_VIEW, 0, 0);
  EXPECT_TRUE(Comes());
}

TEST_F(LaterPictureTest, IsNotAskedForAgainWhileItIsUnderWay) {
  file = OnlyInTheCloud();
  server.Fault(R"({"method":"GET","path":"/objects/","times":0,"delayMs":3600000})");
  OpenViewer(file);
  ASSERT_TRUE(Until([&] { return page->Viewer()->IsLoading(); }));
  const auto asked = [this] {
    const auto requests = server.Requests();
    return std::ranges::count_if(
        requests, [](const std::string& request) { return request.find("/objects/") != std::string::npos; });
  };
  ASSERT_TRUE(Until([&] { return asked() > 0; })) << testing::PrintToString(server.Requests());
  const auto before = asked();
  for (int i = 0; i < 20; ++i)
    (void)platform::SendMessageW(GlobalData::viewerWnd, WM_GALLERY_RELOAD_VIEW, 0, 0);
  LcdPictures::GetInstance().WaitIdle();
  EXPECT_TRUE(page->Viewer()->IsLoading());
  EXPECT_EQ(asked(), before);
  server.Kill();
}

// --- The first generation

// An old cloud that answers with one picture for each size.
class OldCloudViewerTest : public ViewerCloudTest {
 protected:
  void SetUp() override {
    ViewerCloudTest::SetUp();
    upward::Install(static_cast<IThumbnails*>(&ThumbnailHelper::GetInstance()));
    const auto path = folder / "config/ZentaraCloud/account.json";
    Json::Value account;
    std::ifstream(path) >> account;
    account["countryCode"] = "CN";
    std::ofstream(path) << account;
    ASSERT_TRUE(session.Load());
    GlobalData::cloudGeneration = GlobalData::kGenerationV1;
    GlobalData::cloudPhotoUrl = old.Url();
  }
  void TearDown() override {
    ViewerCloudTest::TearDown();
    upward::Install(static_cast<IThumbnails*>(nullptr));
    GlobalData::cloudPhotoUrl.clear();
  }
  static std::string Plain(QSize size, Qt::GlobalColor color) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    EXPECT_TRUE(buffer.open(QIODevice::WriteOnly) && image.save(&buffer, "JPG", 90));
    return bytes.toStdString();
  }
  std::string Answer(const std::string& request) const {
    if (request.starts_with("GET /small")) return LoopbackServer::Answer(200, Plain({320, 240}, Qt::red));
    if (request.starts_with("GET /large")) return LoopbackServer::Answer(200, Plain({1600, 1200}, Qt::blue));
    const char* path = request.find("id-large") != std::string::npos ? "/large" : "/small";
    return LoopbackServer::Answer(200, R"({"code":0,"urlList":[{"url":")" + old.Url() + path + R"("}]})");
  }

  LoopbackServer old{[this](const std::string& request) { return Answer(request); }};
};

TEST_F(OldCloudViewerTest, ThumbnailComesInThePageAndThePictureInTheViewer) {
  const auto file = CloudFile("old");
  file->SetFileName(L"beach.jpg");
  file->SetThumbFileId("id-small");
  file->SetLcdFileId("id-large");
  Add({file});
  OpenViewer(file);
  EXPECT_TRUE(Until([&] { return file->thumbExists.Get(); }));
  // The thumbnail is red, the picture blue.
  EXPECT_TRUE(Until([&] {
    const QImage shown = page->Viewer()->Lcd()->grab().toImage();
    return shown.pixelColor(shown.rect().center()).blue() > 200;
  }));
  EXPECT_TRUE(Until([&] { return !page->Viewer()->IsLoading(); }));
}

}  // namespace
