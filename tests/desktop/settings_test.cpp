// What the settings page offers, shows and keeps.

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMenu>
#include <QTimer>
#include <cstdlib>

#include "common/toolkit/label.h"
#include "common/toolkit/list.h"
#include "common/toolkit/resourcemanager.h"
#include "frametest.h"
#include "host/account/userauthservice.h"
#include "licenceswnd.h"
#include "settingspage.h"
#include "ui/userproperties.h"

namespace {

QString Words(const char* key) { return CResourceManager::GetText(QString::fromLatin1(key)); }

class SettingsTest : public FrameTest {
 protected:
  QString Said(const char* name) const {
    const auto* control = frame->FindControl(QString::fromLatin1(name));
    return control ? control->GetText() : QStringLiteral("(no %1)").arg(QString::fromLatin1(name));
  }
  void Click(const char* name) {
    auto* button = In<CButtonUI>(name);
    ASSERT_NE(button, nullptr) << name;
    button->click();
  }
  // The items of the menu that is open below a button.
  QList<QAction*> Items(const char* name) {
    Click(name);
    auto* button = In<CButtonUI>(name);
    QMenu* menu = nullptr;
    if (button)
      for (auto* one : button->findChildren<QMenu*>())
        if (one->isVisible()) menu = one;
    return menu ? menu->actions() : QList<QAction*>();
  }
  void OpenSettingsOfHomeCloud() {
    Open();
    ASSERT_TRUE(Until([this] { return FirstRun() && FirstRun()->isVisible(); }));
    Press("btn_next");
    ASSERT_TRUE(Until([this] { return HasPage() && !FirstRun(); }));
    frame->ShowPage(FrameWindow::Settings);
  }
};

TEST_F(SettingsTest, LimitsOfSpeedAreChosenShownAndKept) {
  UserProperties::Set("uploadLimitBytes", 0);
  UserProperties::Set("downloadLimitBytes", 0);
  ASSERT_NO_FATAL_FAILURE(OpenWithoutCloud());
  frame->ShowPage(FrameWindow::Settings);
  EXPECT_EQ(Said("set_upload_limit_btn"), Words("IDS_SETTINGS_NO_LIMIT"));
  EXPECT_EQ(Said("set_download_limit_btn"), Words("IDS_SETTINGS_NO_LIMIT"));
  auto items = Items("set_upload_limit_btn");
  ASSERT_EQ(items.size(), 5);
  EXPECT_TRUE(items[0]->isChecked());
  EXPECT_EQ(items[2]->text(), QStringLiteral("2 MB/s"));
  items[2]->trigger();
  EXPECT_EQ(Said("set_upload_limit_btn"), QStringLiteral("2 MB/s"));
  auto* parameters = GlobalParamWrapper::GetInstance();
  EXPECT_TRUE(Until([&] { return parameters->GetUploadLimit() == 2 << 20; }));
  EXPECT_EQ(parameters->GetDownloadLimit(), 0);
  items = Items("set_download_limit_btn");
  ASSERT_EQ(items.size(), 5);
  items[4]->trigger();
  EXPECT_TRUE(Until([&] { return parameters->GetDownloadLimit() == 10 << 20; }));
  // What another process of the profile reads.
  ASSERT_TRUE(parameters->Load());
  EXPECT_EQ(parameters->GetUploadLimit(), 2 << 20);
  EXPECT_EQ(parameters->GetDownloadLimit(), 10 << 20);
  items = Items("set_upload_limit_btn");
  ASSERT_EQ(items.size(), 5);
  EXPECT_TRUE(items[2]->isChecked());
  items[0]->trigger();
  EXPECT_TRUE(Until([&] { return parameters->GetUploadLimit() == 0; }));
  UserProperties::Set("downloadLimitBytes", 0);
  End();
}

TEST_F(SettingsTest, LicencesOfAllLibrariesAreListedWithTheirTexts) {
  QFile file(QStringLiteral(":/licences.json"));
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  const QJsonArray libraries = QJsonDocument::fromJson(file.readAll()).array();
  ASSERT_GT(libraries.size(), 15);
  // A computer that has the text of one of them.
  const QString documents = QString::fromStdString((folder.Path() / "doc").string());
  ASSERT_TRUE(QDir().mkpath(documents + QStringLiteral("/libvips42")));
  QFile text(documents + QStringLiteral("/libvips42/copyright"));
  ASSERT_TRUE(text.open(QIODevice::WriteOnly));
  text.close();
  const QString before = std::exchange(LicencesWnd::documents, documents);
  ASSERT_NO_FATAL_FAILURE(OpenWithoutCloud());
  frame->ShowPage(FrameWindow::Settings);
  int rows = 0, opened = 0;
  QString withText;
  QTimer::singleShot(0, qApp, [&] {
    ASSERT_TRUE(Until([this] { return Child<LicencesWnd>() && Child<LicencesWnd>()->isVisible(); }));
    auto* window = Child<LicencesWnd>();
    rows = window->Find<CListUI>(QStringLiteral("licences"))->GetCount();
    for (auto* button : window->findChildren<CButtonUI*>())
      if (button->GetName() == QStringLiteral("open_licence")) {
        ++opened;
        withText = button->GetUserData().toString();
      }
    window->Close(IDCANCEL);
  });
  Click("set_licences_btn");
  EXPECT_EQ(rows, libraries.size());
  EXPECT_EQ(opened, 1);
  EXPECT_EQ(withText, text.fileName());
  LicencesWnd::documents = before;
  End();
}

TEST_F(SettingsTest, AccountRowHasLetterSpaceAndVersion) {
  ASSERT_NO_FATAL_FAILURE(OpenSettingsOfHomeCloud());
  EXPECT_EQ(Said("set_account"), QStringLiteral("home"));
  EXPECT_EQ(Said("set_avatar"), QStringLiteral("H"));
  EXPECT_TRUE(
      Said("set_server").contains(QString::fromStdString(UserAuthService::GetInstance()->GetServerUrl())));
  EXPECT_TRUE(Said("set_version").contains(QStringLiteral("17.0.0")));
  // The service on this computer tells its space, which is asked for on a worker.
  auto* space = frame->FindControl(QStringLiteral("set_space_row"));
  ASSERT_NE(space, nullptr);
  EXPECT_TRUE(Until([space] { return space->Widget()->isVisible(); }));
  EXPECT_TRUE(Said("set_space").endsWith(QStringLiteral(" used"))) << Said("set_space").toStdString();
  End();
}

TEST_F(SettingsTest, EverySettingHasItsControl) {
  ASSERT_NO_FATAL_FAILURE(OpenSettingsOfHomeCloud());
  for (const char* name :
       {"set_account_btn", "set_password_btn", "set_devices_btn", "set_keys_btn", "set_watch_btn",
        "set_folder_btn", "set_ask", "set_upload_limit_btn", "set_download_limit_btn", "set_theme_system",
        "set_theme_light", "set_theme_dark", "set_language_btn", "set_now_btn", "set_sync", "set_autostart",
        "set_tray", "set_licences_btn"}) {
    auto* control = frame->FindControl(QString::fromLatin1(name));
    ASSERT_NE(control, nullptr) << name;
    EXPECT_TRUE(control->Widget()->isVisible() && control->IsEnabled()) << name;
  }
  // The account's ways out, and what they leave.
  Click("set_account_btn");
  EXPECT_TRUE(Until([] { return UserAuthService::GetInstance()->GetServerUrl().empty(); }));
  End();
}

TEST_F(SettingsTest, LanguageAndThemeChangeAtOnceAndAreKept) {
  ASSERT_NO_FATAL_FAILURE(OpenWithoutCloud());
  frame->ShowPage(FrameWindow::Settings);
  const QString language = DesktopSettings::Language(), theme = DesktopSettings::ThemeName();
  for (QAction* item : Items("set_language_btn"))
    if (item->text() == QStringLiteral("Deutsch")) item->trigger();
  EXPECT_EQ(DesktopSettings::Language(), QStringLiteral("de-DE"));
  EXPECT_EQ(Said("set_language_btn"), QStringLiteral("Deutsch"));
  Click("set_theme_dark");
  EXPECT_EQ(DesktopSettings::ThemeName(), QStringLiteral("dark"));
  DesktopSettings::SetLanguage(language);
  DesktopSettings::SetThemeName(theme);
  End();
}

}  // namespace
