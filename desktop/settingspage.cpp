#include "settingspage.h"

#include <QFileDialog>
#include <QLocale>
#include <QMenu>

#include "common/toolkit/button.h"
#include "common/toolkit/dialogbuilder.h"
#include "common/toolkit/resourcemanager.h"
#include "desktopsettings.h"
#include "framewindow.h"
#include "host/drivethreadpool.h"
#include "host/globalparamwrapper.h"
#include "host/userauthservice.h"
#include "sync/synchelper.h"
#include "ui/dialogs/downloadpicwnd.h"
#include "ui/userproperties.h"

void SettingsPage::DoInit() {
  CVerticalLayoutUI::DoInit();
  if (auto* content = CDialogBuilder().Create(QStringLiteral("Desktop/SettingsPage.xml"), nullptr, this)) Add(content);
}

void SettingsPage::Say(const char* name, const QString& words) {
  if (auto* label = FindSubControl(QString::fromLatin1(name))) label->SetText(words);
}

void SettingsPage::Reload() {
  auto* identity = UserAuthService::GetInstance();
  const bool local = identity->GetServerUrl().empty();
  Say("set_account", local ? QStringLiteral("IDS_SETTINGS_LOCAL") : QString::fromStdString(identity->GetUserName()));
  Say("set_server", local ? QString() : QString::fromStdString(identity->GetServerUrl()));
  Say("set_account_btn", local ? QStringLiteral("IDS_FIRSTRUN_SIGN_IN") : QStringLiteral("IDS_SETTINGS_SIGN_OUT"));
  Say("set_folder", DownloadPicWnd::StandardFolder());
  const QString language = DesktopSettings::Language();
  Say("set_language_btn", language.isEmpty() ? QStringLiteral("IDS_SETTINGS_SYSTEM") : QLocale(language).nativeLanguageName());
  const QString theme = DesktopSettings::ThemeName();
  Say("set_theme_btn", theme == QStringLiteral("dark")    ? QStringLiteral("IDS_SETTINGS_DARK")
                       : theme == QStringLiteral("light") ? QStringLiteral("IDS_SETTINGS_LIGHT")
                                                          : QStringLiteral("IDS_SETTINGS_SYSTEM"));
  if (auto* ask = dynamic_cast<CCheckBoxUI*>(FindSubControl(QStringLiteral("set_ask")))) {
    const QSignalBlocker quiet(ask);
    ask->Selected(DownloadPicWnd::AsksEachTime());
  }
  if (auto* stay = dynamic_cast<CCheckBoxUI*>(FindSubControl(QStringLiteral("set_tray")))) {
    const QSignalBlocker quiet(stay);
    stay->Selected(DesktopSettings::ClosesToTray());
  }
}

void SettingsPage::Choose(CControlUI& at, const QStringList& values, const QStringList& words, const QString& now,
                          const std::function<void(const QString&)>& take) {
  auto* menu = new QMenu(at.Widget());
  menu->setAttribute(Qt::WA_DeleteOnClose);
  for (qsizetype i = 0; i < values.size(); ++i) {
    auto* item = menu->addAction(CResourceManager::GetText(words[i]));
    item->setCheckable(true);
    item->setChecked(values[i] == now);
    connect(item, &QAction::triggered, this, [this, take, value = values[i]] {
      take(value);
      Reload();
    });
  }
  menu->popup(at.Widget()->mapToGlobal(QPoint(0, at.GetHeight())));
}

void SettingsPage::OnNotify(TNotifyUI& message) {
  if (!message.pSender) return;
  const QString name = message.pSender->GetName();
  if (message.sType == QStringLiteral("selectchanged")) {
    const auto* box = dynamic_cast<CCheckBoxUI*>(message.pSender);
    if (!box) return;
    if (name == QStringLiteral("set_ask")) UserProperties::Set(UserProperties::kAskDownload, box->IsSelected() ? 1 : 0);
    if (name == QStringLiteral("set_tray")) DesktopSettings::SetClosesToTray(box->IsSelected());
    if (name == QStringLiteral("set_sync")) {
      (void)CommonAbility::DriveThreadPool::GetInstance().Add(
          [on = box->IsSelected()] { SyncHelper::GetInstance().SetSyncSwitch(on); });
    }
    return;
  }
  if (message.sType != QStringLiteral("click")) return;
  if (name == QStringLiteral("set_account_btn")) {
    return frame.SignOut([](const QString&) {});
  }
  if (name == QStringLiteral("set_folder_btn")) {
    const QString folder = QFileDialog::getExistingDirectory(this, {}, DownloadPicWnd::StandardFolder());
    if (!folder.isEmpty() && DownloadPicWnd::Refused(folder).isEmpty()) {
      UserProperties::Set(UserProperties::kUseDownloads, 0);
      UserProperties::Set(UserProperties::kDownloadFolder, folder.toStdString());
    }
    return Reload();
  }
  if (name == QStringLiteral("set_language_btn")) {
    QStringList values{QString()}, words{QStringLiteral("IDS_SETTINGS_SYSTEM")};
    for (const QString& tag : CResourceManager::Languages()) {
      values << tag;
      words << QLocale(tag).nativeLanguageName();
    }
    return Choose(*message.pSender, values, words, DesktopSettings::Language(), DesktopSettings::SetLanguage);
  }
  if (name == QStringLiteral("set_theme_btn")) {
    Choose(*message.pSender, {QString(), QStringLiteral("light"), QStringLiteral("dark")},
           {QStringLiteral("IDS_SETTINGS_SYSTEM"), QStringLiteral("IDS_SETTINGS_LIGHT"), QStringLiteral("IDS_SETTINGS_DARK")},
           DesktopSettings::ThemeName(), DesktopSettings::SetThemeName);
  }
}
