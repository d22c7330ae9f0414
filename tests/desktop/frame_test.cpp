// The host's window on a fresh profile: first start, the photo cloud on this computer,
// files that are handed over, the end.

#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QTest>

#include "common/platform/paths.h"
#include "common/toolkit/button.h"
#include "desktopsettings.h"
#include "firstrunpage.h"
#include "framewindow.h"
#include "host/globalparamwrapper.h"
#include "host/userauthservice.h"
#include "model/gallery.h"
#include "sync/synchelper.h"
#include "tests/support/temporaryfolder.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/zentaragallery.h"

namespace {

constexpr int kPatienceMs = 60'000;

class FrameTest : public testing::Test {
 protected:
  void SetUp() override {
    platform::SetProfileRoot(folder.Path());
    ASSERT_TRUE(QDir().mkpath(QString::fromStdString(Session::DataFolder().string())));
    (void)GlobalParamWrapper::GetInstance()->Load();
    DesktopSettings::ClearChosen();
    QString error;
    ASSERT_EQ(work.Take(error), ProfileOwner::Take::Owned) << error.toStdString();
  }
  void Open(const QStringList& files = {}) {
    frame = std::make_unique<FrameWindow>(work, files);
    ASSERT_TRUE(frame->Create(static_cast<QWidget*>(nullptr), QStringLiteral("Zentara Gallery"), WindowStyle::Frame,
                              {0, 0, 1440, 900}));
    frame->show();
    frame->activateWindow();
  }
  void End() {
    frame.reset();
    work.Close();
  }
  template <typename Done>
  static bool Until(Done done) {
    return QTest::qWaitFor(done, kPatienceMs);
  }
  FirstRunPage* FirstRun() const {
    for (QObject* child : frame->children())
      if (auto* page = dynamic_cast<FirstRunPage*>(child)) return page;
    return nullptr;
  }
  bool HasPage() const { return frame->GalleryPage() && frame->GalleryPage()->isVisible(); }
  void Press(const char* name) {
    auto* button = FirstRun()->Find<CButtonUI>(QString::fromLatin1(name));
    ASSERT_NE(button, nullptr);
    QTest::mouseClick(button, Qt::LeftButton);
  }

  TemporaryFolder folder;
  Workspace work;
  std::unique_ptr<FrameWindow> frame;
};

TEST_F(FrameTest, FirstStartAsksAndNotNowOpensTheGallery) {
  Open();
  ASSERT_TRUE(Until([this] { return FirstRun() && FirstRun()->isVisible(); }));
  Press("btn_later");
  ASSERT_TRUE(Until([this] { return HasPage(); }));
  EXPECT_TRUE(UserAuthService::GetInstance()->GetServerUrl().empty());
  frame->ShowPage(FrameWindow::Home);
  EXPECT_FALSE(frame->GalleryPage()->isVisible());
  frame->ShowPage(FrameWindow::Settings);
  frame->ShowPage(FrameWindow::Transfers);
  frame->ShowPage(FrameWindow::Gallery);
  EXPECT_TRUE(HasPage());
  End();
}

TEST_F(FrameTest, FoldersGoUpIntoThePhotoCloudOnThisComputer) {
  const QString pictures = QString::fromStdString((folder.Path() / "Trip").string());
  ASSERT_TRUE(QDir().mkpath(pictures));
  for (int i = 0; i < 3; ++i) {
    QImage picture(640, 480, QImage::Format_RGB32);
    picture.fill(QColor::fromHsv(i * 100, 150, 200));
    ASSERT_TRUE(picture.save(pictures + QStringLiteral("/%1.jpg").arg(i)));
  }
  Open({pictures});
  ASSERT_TRUE(Until([this] { return FirstRun() && FirstRun()->isVisible(); }));
  Press("btn_next");
  ASSERT_TRUE(Until([this] { return HasPage() && !FirstRun(); }));
  EXPECT_FALSE(UserAuthService::GetInstance()->GetServerUrl().empty());
  // Known to the cloud is a file whose id is not the one that was made here.
  const auto held = [] {
    Gallery::Files files;
    Gallery::GetInstance().GetAllFiles(files);
    return files;
  };
  ASSERT_TRUE(Until([&] { return held().size() == 3; }));
  // The next tick of the sync, without the wait of a minute for it.
  std::thread sync([] { (void)SyncHelper::GetInstance().RunNext([] { return false; }, [] {}); });
  const auto uploaded = [&] {
    const auto files = held();
    return files.size() == 3 && std::none_of(files.begin(), files.end(), [](const GalleryFile::Ptr& file) {
             return file->IsLocalOnly();
           });
  };
  EXPECT_TRUE(Until(uploaded));
  sync.join();
  EXPECT_NE(Gallery::GetInstance().AlbumNameIsExist(L"Trip"), nullptr);
  End();
}

}  // namespace
