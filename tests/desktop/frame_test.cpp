// The host's window on a fresh profile: first start, the photo cloud on this computer,
// files that are handed over, the end.

#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QTest>
#include <filesystem>
#include <fstream>

#include "autostart.h"
#include "choicecard.h"
#include "common/platform/paths.h"
#include "common/toolkit/button.h"
#include "common/toolkit/edit.h"
#include "common/toolkit/resourcemanager.h"
#include "desktopsettings.h"
#include "firstrunpage.h"
#include "frametest.h"
#include "framewindow.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "model/gallery.h"
#include "sync/synchelper.h"
#include "tests/support/temporaryfolder.h"
#include "transferspage.h"
#include "ui/galleryalbumwnd.h"
#include "ui/view/galleryfilelistviewhelper.h"
#include "ui/zentaragallery.h"

namespace {

TEST_F(FrameTest, FirstStartAsksAndNotNowOpensTheGallery) {
  ASSERT_NO_FATAL_FAILURE(OpenWithoutCloud());
  EXPECT_TRUE(UserAuthService::GetInstance()->GetServerUrl().empty());
  frame->ShowPage(FrameWindow::Home);
  EXPECT_FALSE(frame->GalleryPage()->isVisible());
  frame->ShowPage(FrameWindow::Settings);
  frame->ShowPage(FrameWindow::Transfers);
  frame->ShowPage(FrameWindow::Gallery);
  EXPECT_TRUE(HasPage());
  End();
}

TEST_F(FrameTest, AddressOfAServerIsCheckedBeforeTheAccountIsAsked) {
  Open();
  ASSERT_TRUE(Until([this] { return FirstRun() && FirstRun()->isVisible(); }));
  auto* elsewhere = FirstRun()->Find<ChoiceCardUI>(QStringLiteral("choice_server"));
  auto* field = FirstRun()->Find<CEditUI>(QStringLiteral("server_field"));
  auto* login = FirstRun()->FindControl(QStringLiteral("step_login"));
  auto* words = FirstRun()->FindControl(QStringLiteral("fail_words"));
  ASSERT_TRUE(elsewhere && field && login && words);
  QTest::mouseClick(elsewhere, Qt::LeftButton);
  ASSERT_TRUE(field->isEnabled());
  FirstRun()->ask = [](const std::string&, const std::function<bool()>&) {
    return AddressCheck::Answer::Encrypted;
  };
  const auto next = [&](const char* typed) {
    field->SetText(QString::fromLatin1(typed));
    Press("btn_next");
  };
  next("  ");
  EXPECT_EQ(words->GetText(), CResourceManager::GetText(QStringLiteral("IDS_FIRSTRUN_ADDRESS_NEEDED")));
  for (const char* wrong : {"no address", "https://", "ftp://photos.example", "photos.example:port",
                            "https://photos.example:99999", "/home/me/photos", "http:///photos"}) {
    next(wrong);
    EXPECT_EQ(words->GetText(), CResourceManager::GetText(QStringLiteral("IDS_FIRSTRUN_ADDRESS_WRONG")))
        << wrong;
    EXPECT_FALSE(login->Widget()->isVisible()) << wrong;
  }
  for (const char* good : {"photos.example", "https://photos.example:8443/", "http://192.168.0.7:8080",
                           "https://[::1]:8443", "photos.example/cloud"}) {
    next(good);
    EXPECT_TRUE(Until([&] { return login->Widget()->isVisible(); })) << good;
    EXPECT_EQ(words->GetText(), QString()) << good;
    Press("btn_back");
  }
  Press("btn_later");
  ASSERT_TRUE(Until([this] { return HasPage(); }));
  End();
}

TEST_F(FrameTest, WindowOnAScreenOfAnotherResolutionTakesItsPagesAlong) {
  ASSERT_NO_FATAL_FAILURE(OpenWithoutCloud());
  const QSize before = frame->size();
  (void)platform::SendMessageW(frame->GetHWND(), WM_DPI_CHANGED, 144, 0);
  EXPECT_EQ(frame->size(), before * 1.5);
  EXPECT_EQ(frame->minimumSize(), QSize(1350, 900));
  EXPECT_EQ(frame->GalleryPage()->Manager().GetScale(), 150);
  EXPECT_EQ(frame->GalleryPage()->Panel()->Manager().GetScale(), 150);
  EXPECT_EQ(frame->GalleryPage()->Panel()->width(), 300);
  End();
  const std::string log = LogText();
  EXPECT_NE(log.find("WindowBusyBase::OnDPIChanged uMsg=3267,hWnd=[0x"), std::string::npos);
  EXPECT_NE(log.find("ZentaraGallery::dpiVal: 144"), std::string::npos);
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

TEST_F(FrameTest, WhatComesIntoAWatchedFolderIsImportedByItself) {
  const QString watched = QString::fromStdString((folder.Path() / "Card").string());
  ASSERT_TRUE(QDir().mkpath(watched + QStringLiteral("/DCIM")));
  const auto take = [&watched](const char* name, int hue) {
    QImage picture(640, 480, QImage::Format_RGB32);
    picture.fill(QColor::fromHsv(hue, 150, 200));
    ASSERT_TRUE(picture.save(watched + QString::fromLatin1(name)));
  };
  take("/first.jpg", 10);
  ASSERT_NO_FATAL_FAILURE(OpenWithoutCloud());
  const auto held = [] {
    Gallery::Files files;
    Gallery::GetInstance().GetAllFiles(files);
    return files.size();
  };
  frame->Watch({watched});
  ASSERT_TRUE(Until([&] { return held() == 1; }));
  take("/second.jpg", 100);
  ASSERT_TRUE(Until([&] { return held() == 2; }));
  take("/DCIM/third.jpg", 200);
  EXPECT_TRUE(Until([&] { return held() == 3; }));
  EXPECT_EQ(DesktopSettings::WatchedFolders(), QStringList{watched});
  End();
}

// Two galleries would be one: what the import still adds would land in that of the account.
TEST_F(FrameTest, SignInEndsTheImportFirst) {
  const QString pictures = QString::fromStdString((folder.Path() / "Many").string());
  ASSERT_TRUE(QDir().mkpath(pictures));
  for (int i = 0; i < 200; ++i) {
    QImage picture(160, 120, QImage::Format_RGB32);
    picture.fill(QColor::fromRgb(0x102030 + i));
    ASSERT_TRUE(picture.save(pictures + QStringLiteral("/%1.png").arg(i)));
  }
  bool opened = false;
  work.Open([&opened](const QString& error) { opened = error.isEmpty(); });
  ASSERT_TRUE(Until([&opened] { return opened; }));
  QStringList ended;
  work.Import({pictures}, [&ended](const QString&) { ended << QStringLiteral("import"); });
  ASSERT_TRUE(Until([] { return Gallery::GetInstance().FileCount() > 0; }));
  work.SignIn("http://127.0.0.1:1", "ann", "a long password",
              [&ended](const QString&) { ended << QStringLiteral("sign-in"); });
  ASSERT_TRUE(Until([&ended] { return ended.size() == 2; }));
  EXPECT_EQ(ended, (QStringList{QStringLiteral("import"), QStringLiteral("sign-in")}));
  EXPECT_LT(Gallery::GetInstance().FileCount(), 200u);
  End();
}

TEST_F(FrameTest, SwitchesShowWhatIsKept) {
  ASSERT_NO_FATAL_FAILURE(OpenWithoutCloud());
  frame->ShowPage(FrameWindow::Settings);
  auto* tray = frame->Find<CCheckBoxUI>(QStringLiteral("set_tray"));
  ASSERT_NE(tray, nullptr);
  const bool before = DesktopSettings::ClosesToTray();
  EXPECT_EQ(tray->IsSelected(), before);
  tray->click();
  EXPECT_EQ(DesktopSettings::ClosesToTray(), !before);
  DesktopSettings::SetClosesToTray(before);
  frame->ShowPage(FrameWindow::Gallery);
  frame->ShowPage(FrameWindow::Settings);
  EXPECT_EQ(tray->IsSelected(), before);
  // Nothing of an account is offered where there is none.
  auto* account = frame->FindControl(QStringLiteral("set_signed_in"));
  ASSERT_NE(account, nullptr);
  EXPECT_FALSE(account->Widget()->isVisible());
  End();
}

TEST_F(FrameTest, AccountOfTheServiceTellsItsDevicesPasswordAndKeys) {
  Open();
  ASSERT_TRUE(Until([this] { return FirstRun() && FirstRun()->isVisible(); }));
  Press("btn_next");
  ASSERT_TRUE(Until([this] { return HasPage() && !FirstRun(); }));
  QString told = QStringLiteral("nothing yet");
  std::vector<Workspace::Device> devices;
  work.ListDevices([&](const QString& error, const std::vector<Workspace::Device>& list) {
    told = error;
    devices = list;
  });
  ASSERT_TRUE(Until([&] { return told.isEmpty(); })) << told.toStdString();
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_TRUE(devices.front().current);

  QString refused;
  work.ChangePassword("not the password", "a new password", [&](const QString& error) { refused = error; });
  EXPECT_TRUE(Until([&] { return !refused.isEmpty(); }));

  const QString file = QString::fromStdString((folder.Path() / "keys.json").string());
  told = QStringLiteral("nothing yet");
  work.ExportKeys(file, [&](const QString& error) { told = error; });
  ASSERT_TRUE(Until([&] { return told.isEmpty(); })) << told.toStdString();
  QFile keys(file);
  ASSERT_TRUE(keys.open(QIODevice::ReadOnly));
  EXPECT_TRUE(keys.readAll().contains("zentara-keys-1"));
  EXPECT_EQ(keys.permissions() & (QFileDevice::ReadGroup | QFileDevice::ReadOther),
            QFileDevice::Permissions());
  keys.close();
  ASSERT_TRUE(keys.open(QIODevice::WriteOnly));
  keys.write("the user's own");
  keys.close();
  told.clear();
  work.ExportKeys(file, [&](const QString& error) { told = error; });
  EXPECT_TRUE(Until([&] { return !told.isEmpty(); }));
  ASSERT_TRUE(keys.open(QIODevice::ReadOnly));
  EXPECT_EQ(keys.readAll(), "the user's own");
  End();
}

// A transfer that waits.
class WaitingTask : public TransferTask {
 public:
  explicit WaitingTask(int of) : TransferTask(TaskType::Download), number(of) {}
  std::int64_t GetTotalSize() const override { return 1000; }
  std::wstring GetFileName() const override { return L"file " + std::to_wstring(number); }
  std::wstring GetLocalPath() const override { return {}; }
  std::string GetTransferId() const override { return std::to_string(number); }

 private:
  const int number;
};

TEST_F(FrameTest, AllOfThousandsOfTransfersCanBeScrolledTo) {
  ASSERT_NO_FATAL_FAILURE(OpenWithoutCloud());
  TransfersPage* page = nullptr;
  for (QWidget* widget : frame->findChildren<QWidget*>())
    if (auto* found = dynamic_cast<TransfersPage*>(widget)) page = found;
  ASSERT_NE(page, nullptr);
  std::vector<TransferTask::Ptr> tasks;
  for (int i = 0; i < 1000; ++i) tasks.push_back(std::make_shared<WaitingTask>(i));
  page->tasksOf = [&tasks](TaskType kind) {
    return kind == TaskType::Download ? tasks : std::vector<TransferTask::Ptr>();
  };
  frame->ShowPage(FrameWindow::Transfers);
  auto* list = dynamic_cast<CListUI*>(page->FindSubControl(QStringLiteral("transfer_list")));
  ASSERT_NE(list, nullptr);
  EXPECT_LT(page->RowCount(), 400u);  // Not all of them at once.
  ASSERT_TRUE(Until([&] {
    list->SetScrollPos(list->GetScrollRange());
    return page->RowCount() == tasks.size();
  }));
  EXPECT_EQ(list->GetCount(), 1001);  // with the head of the group
  // What ends goes from the list, and the place in it stays.
  const int at = list->GetScrollPos().height();
  tasks.pop_back();
  page->Reload();
  EXPECT_EQ(page->RowCount(), 999u);
  EXPECT_GT(list->GetScrollPos().height(), at - 200);
  page->tasksOf = [](TaskType) { return std::vector<TransferTask::Ptr>(); };
  page->Reload();
  EXPECT_EQ(page->RowCount(), 0u);
  End();
}

// What the switch says is what the settings of the profile keep and the next start does.
TEST_F(FrameTest, SwitchedOffSyncIsKeptForTheNextStart) {
  ASSERT_NO_FATAL_FAILURE(OpenWithoutCloud());
  frame->ShowPage(FrameWindow::Settings);
  auto* sync = frame->Find<CCheckBoxUI>(QStringLiteral("set_sync"));
  ASSERT_NE(sync, nullptr);
  ASSERT_TRUE(sync->IsSelected());
  sync->click();
  const auto kept = [this] {
    std::string all;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.Path())) {
      if (entry.path().filename() != "settings.json") continue;
      std::ifstream file(entry.path());
      all.assign(std::istreambuf_iterator<char>(file), {});
    }
    return all;
  };
  EXPECT_TRUE(Until([&] {
    const std::string text = kept();
    const auto at = text.find("DesktopSyncOff");
    return at != std::string::npos && text.find('1', at) != std::string::npos;
  }));
  sync->click();
  EXPECT_TRUE(DesktopSettings::Syncs());
  End();
}

TEST(AutostartTest, EntryComesAndGoesWithTheSwitch) {
  const TemporaryFolder config;
  const QByteArray before = qgetenv("XDG_CONFIG_HOME");
  qputenv("XDG_CONFIG_HOME", QByteArray::fromStdString(config.Path().string()));
  EXPECT_FALSE(Autostart::IsOn());
  EXPECT_TRUE(Autostart::Set(true));
  EXPECT_TRUE(Autostart::IsOn());
  QFile entry(QString::fromStdString((config.Path() / "autostart" / "zentaracloud.desktop").string()));
  ASSERT_TRUE(entry.open(QIODevice::ReadOnly));
  const QByteArray text = entry.readAll();
  EXPECT_TRUE(text.startsWith("[Desktop Entry]\n"));
  EXPECT_TRUE(
      text.contains("\nExec=\"" + QCoreApplication::applicationFilePath().toUtf8() + "\" --background\n"))
      << text.toStdString();
  EXPECT_TRUE(Autostart::Set(false));
  EXPECT_FALSE(Autostart::IsOn());
  qputenv("XDG_CONFIG_HOME", before);
}

}  // namespace
