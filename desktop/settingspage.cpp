#include "settingspage.h"

#include <QDir>
#include <QLocale>
#include <QMenu>
#include <QTextBoundaryFinder>
#include <algorithm>

#include "accountdialogs.h"
#include "autostart.h"
#include "common/toolkit/button.h"
#include "common/toolkit/dialogbuilder.h"
#include "common/toolkit/filechooser.h"
#include "common/toolkit/label.h"
#include "common/toolkit/overlays.h"
#include "common/toolkit/progress.h"
#include "common/toolkit/resourcemanager.h"
#include "desktopsettings.h"
#include "framewindow.h"
#include "host/account/userauthservice.h"
#include "host/base/drivethreadpool.h"
#include "host/requests/cloudspacequery.h"
#include "licenceswnd.h"
#include "sync/synchelper.h"
#include "ui/dialogs/downloadpicwnd.h"
#include "ui/pagecontext.h"
#include "ui/userproperties.h"

namespace {

constexpr qint64 kMegabyte = 1 << 20;
constexpr qint64 kLimits[] = {0, kMegabyte, 2 * kMegabyte, 5 * kMegabyte, 10 * kMegabyte};

QString LimitText(qint64 bytes) {
  return bytes > 0 ? Page::SpeedText(bytes, 0)
                   : CResourceManager::GetText(QStringLiteral("IDS_SETTINGS_NO_LIMIT"));
}

}  // namespace

void SettingsPage::DoInit() {
  CVerticalLayoutUI::DoInit();
  if (auto* content = CDialogBuilder().Create(QStringLiteral("Desktop/SettingsPage.xml"), nullptr, this))
    Add(content);
}

void SettingsPage::Say(const char* name, const QString& words) {
  if (auto* label = FindSubControl(QString::fromLatin1(name))) label->SetText(words);
}

void SettingsPage::Show(const char* name, bool on) {
  if (auto* control = FindSubControl(QString::fromLatin1(name))) control->SetVisible(on);
}

// Without telling anybody: what is shown has not been changed by the user.
void SettingsPage::Check(const char* name, bool on) {
  auto* button = dynamic_cast<QAbstractButton*>(findChild<QWidget*>(QString::fromLatin1(name)));
  if (!button) return;
  const QSignalBlocker quiet(button);
  button->setChecked(on);
}

void SettingsPage::Reload() {
  auto* identity = UserAuthService::GetInstance();
  const bool local = identity->GetServerUrl().empty();
  Say("set_account",
      local ? QStringLiteral("IDS_SETTINGS_LOCAL") : QString::fromStdString(identity->GetUserName()));
  Say("set_server", local ? QString() : Page::LeftToRight(QString::fromStdString(identity->GetServerUrl())));
  ShowAvatar(local ? QString() : QString::fromStdString(identity->GetUserName()));
  AskSpace();
  Say("set_version", Page::Fill(CResourceManager::GetText(QStringLiteral("IDS_SETTINGS_VERSION")),
                                {Page::LeftToRight(QStringLiteral(ZENTARA_VERSION))}));
  Show("set_server", !local);
  Show("set_signed_in", !local);
  Show("set_sync_row", !local);
  Say("set_account_btn",
      local ? QStringLiteral("IDS_FIRSTRUN_SIGN_IN") : QStringLiteral("IDS_SETTINGS_SIGN_OUT"));
  Say("set_folder", Page::LeftToRight(DownloadPicWnd::StandardFolder()));
  Say("set_upload_limit_btn", LimitText(DesktopSettings::UploadLimit()));
  Say("set_download_limit_btn", LimitText(DesktopSettings::DownloadLimit()));
  const QString language = DesktopSettings::Language();
  Say("set_language_btn",
      language.isEmpty() ? QStringLiteral("IDS_SETTINGS_SYSTEM") : QLocale(language).nativeLanguageName());
  const QString theme = DesktopSettings::ThemeName();
  Check("set_theme_dark", theme == QStringLiteral("dark"));
  Check("set_theme_light", theme == QStringLiteral("light"));
  Check("set_theme_system", theme != QStringLiteral("dark") && theme != QStringLiteral("light"));
  Check("set_ask", DownloadPicWnd::AsksEachTime());
  Check("set_tray", DesktopSettings::ClosesToTray());
  Check("set_sync", DesktopSettings::Syncs());
  Check("set_autostart", Autostart::IsOn());
  ShowWatched();
}

// The first letter of the name; an icon for nobody.
void SettingsPage::ShowAvatar(const QString& user) {
  auto* avatar = dynamic_cast<CLabelUI*>(FindSubControl(QStringLiteral("set_avatar")));
  if (!avatar) return;
  QTextBoundaryFinder letters(QTextBoundaryFinder::Grapheme, user);
  avatar->SetIcon(user.isEmpty() ? QStringLiteral("account") : QString(), 20, QStringLiteral("accent-text"));
  avatar->SetText(user.left(std::max<qsizetype>(letters.toNextBoundary(), 0)).toUpper());
}

// A service that does not tell its space has no line for it.
void SettingsPage::AskSpace() {
  if (UserAuthService::GetInstance()->GetServerUrl().empty()) return Show("set_space_row", false);
  Page::InBackground(this, &CloudSpaceQuery::GetSpaceInfo, [this](const SpaceInfo& space) {
    const bool told = space.status == 0 && space.total > 0;
    Show("set_space_row", told);
    if (!told) return;
    const auto used = std::max<qint64>(space.total - space.free, 0);
    Say("set_space", Page::Fill(CResourceManager::GetText(QStringLiteral("IDS_SETTINGS_SPACE")),
                                {Page::SizeText(used), Page::SizeText(space.total)}));
    auto* bar = dynamic_cast<CProgressUI*>(FindSubControl(QStringLiteral("set_space_bar")));
    if (!bar) return;
    bar->setRange(0, 1000);
    bar->SetValue(static_cast<int>(1000.0 * static_cast<double>(used) / static_cast<double>(space.total)));
  });
}

void SettingsPage::ShowWatched() {
  auto* box = dynamic_cast<CContainerUI*>(FindSubControl(QStringLiteral("set_watched")));
  const QStringList folders = DesktopSettings::WatchedFolders();
  Show("set_watch_polled", frame.IsPollingFolders());
  if (!box || folders == watchedShown) return;
  watchedShown = folders;
  while (box->GetCount() > 1) (void)box->RemoveAt(1);
  for (const QString& folder : folders) {
    auto* line = new CWidgetUI;
    line->ApplyAttributeList(QStringLiteral("height=\"1\" bkcolor=\"line\""));
    box->Add(line);
    auto* row = new CHorizontalLayoutUI;
    row->ApplyAttributeList(
        QStringLiteral("height=\"48\" inset=\"56,0,20,0\" childpadding=\"16\" childvalign=\"middle\""));
    auto* name = new CLabelUI;
    name->SetAttribute(QStringLiteral("elide"), QStringLiteral("middle"));
    name->SetText(Page::LeftToRight(QDir::toNativeSeparators(folder)));
    row->Add(name);
    auto* remove = new CButtonUI;
    remove->SetName(QStringLiteral("set_unwatch"));
    remove->ApplyAttributeList(
        QStringLiteral("style=\"icon\" icon=\"close\" iconsize=\"18\" width=\"32\" height=\"32\""));
    remove->SetToolTip(QStringLiteral("IDS_SETTINGS_REMOVE_FOLDER"));
    remove->SetUserData(folder);
    row->Add(remove);
    box->Add(row);
  }
}

void SettingsPage::OnNotify(TNotifyUI& message) {
  if (!message.pSender) return;
  const QString name = message.pSender->GetName();
  if (message.sType == QStringLiteral("selectchanged")) {
    if (const auto* box = dynamic_cast<CCheckBoxUI*>(message.pSender)) OnSwitch(name, box->IsSelected());
    if (name.startsWith(QStringLiteral("set_theme_"))) {
      const auto* button = dynamic_cast<CButtonUI*>(message.pSender);
      const QString theme = name.mid(10);
      if (button && button->IsSelected())
        DesktopSettings::SetThemeName(theme == QStringLiteral("system") ? QString() : theme);
    }
    return;
  }
  if (message.sType == QStringLiteral("click")) OnClick(name, *message.pSender);
}

void SettingsPage::OnSwitch(const QString& name, bool on) {
  if (name == QStringLiteral("set_ask")) UserProperties::Set(UserProperties::kAskDownload, on ? 1 : 0);
  if (name == QStringLiteral("set_tray")) DesktopSettings::SetClosesToTray(on);
  if (name == QStringLiteral("set_autostart") && !Autostart::Set(on))
    Check("set_autostart", Autostart::IsOn());
  if (name == QStringLiteral("set_sync")) {
    DesktopSettings::SetSyncs(on);
    (void)CommonAbility::DriveThreadPool::GetInstance().Add(
        [on] { SyncHelper::GetInstance().SetSyncSwitch(on); });
  }
}

void SettingsPage::OnClick(const QString& name, CControlUI& sender) {
  if (name == QStringLiteral("set_account_btn")) return frame.SignOut([](const QString&) {});
  if (name == QStringLiteral("set_password_btn")) {
    Asked<PasswordWnd> ask(frame.Work());
    if (ask.RunOver(frame) == IDOK)
      Toast::Show(*this, {QStringLiteral("check"), QStringLiteral("IDS_PASSWORD_CHANGED"), {}, {}});
    return;
  }
  if (name == QStringLiteral("set_devices_btn")) {
    Asked<DevicesWnd> window(frame.Work());
    (void)window.RunOver(frame);
    return;
  }
  if (name == QStringLiteral("set_keys_btn")) return ExportKeys();
  if (name == QStringLiteral("set_watch_btn")) return AddWatched();
  if (name == QStringLiteral("set_unwatch")) {
    QStringList folders = DesktopSettings::WatchedFolders();
    folders.removeAll(sender.GetUserData().toString());
    frame.Watch(folders);
    return ShowWatched();
  }
  if (name == QStringLiteral("set_folder_btn")) return ChooseDownloads();
  if (name == QStringLiteral("set_language_btn")) return ChooseLanguage(sender);
  if (name == QStringLiteral("set_upload_limit_btn"))
    return ChooseLimit(sender, DesktopSettings::UploadLimit(), &DesktopSettings::SetUploadLimit);
  if (name == QStringLiteral("set_download_limit_btn"))
    return ChooseLimit(sender, DesktopSettings::DownloadLimit(), &DesktopSettings::SetDownloadLimit);
  if (name == QStringLiteral("set_licences_btn")) {
    Asked<LicencesWnd> window;
    (void)window.RunOver(frame);
    return;
  }
  if (name == QStringLiteral("set_now_btn")) frame.Work().SyncNow();
}

template <class Value>
void SettingsPage::Choose(CControlUI& at, const std::vector<std::pair<Value, QString>>& choices,
                          const Value& now, void (*set)(const Value&)) {
  auto* menu = new QMenu(at.Widget());
  menu->setAttribute(Qt::WA_DeleteOnClose);
  for (const auto& [value, words] : choices) {
    auto* item = menu->addAction(words);
    item->setCheckable(true);
    item->setChecked(value == now);
    connect(item, &QAction::triggered, this, [this, value = value, set] {
      set(value);
      Reload();
    });
  }
  menu->popup(at.Widget()->mapToGlobal(QPoint(0, at.GetHeight())));
}

void SettingsPage::ChooseLanguage(CControlUI& at) {
  std::vector<std::pair<QString, QString>> choices{
      {{}, CResourceManager::GetText(QStringLiteral("IDS_SETTINGS_SYSTEM"))}};
  for (const QString& tag : CResourceManager::Languages())
    choices.emplace_back(tag, QLocale(tag).nativeLanguageName());
  Choose(at, choices, DesktopSettings::Language(), &DesktopSettings::SetLanguage);
}

void SettingsPage::ChooseLimit(CControlUI& at, qint64 now, void (*set)(const qint64&)) {
  std::vector<std::pair<qint64, QString>> choices;
  for (const qint64 limit : kLimits) choices.emplace_back(limit, LimitText(limit));
  Choose(at, choices, now, set);
}

void SettingsPage::ChooseDownloads() {
  const QString folder = toolkit::ChooseFolder(*this, DownloadPicWnd::StandardFolder());
  if (folder.isEmpty()) return;
  const QString refused = DownloadPicWnd::Refused(folder);
  if (!refused.isEmpty()) {
    Toast::Show(*this, {QStringLiteral("error"), refused, {}, {}});
    return;
  }
  UserProperties::Set(UserProperties::kUseDownloads, 0);
  UserProperties::Set(UserProperties::kDownloadFolder, folder.toStdString());
  Reload();
}

void SettingsPage::AddWatched() {
  const QString folder = toolkit::ChooseFolder(*this);
  if (folder.isEmpty()) return;
  QStringList folders = DesktopSettings::WatchedFolders();
  if (folders.contains(folder)) return;
  frame.Watch(folders << folder);
  ShowWatched();
}

void SettingsPage::ExportKeys() {
  const QString file =
      toolkit::ChooseFileToSave(*this, QDir::home().filePath(QStringLiteral("zentara-keys.json")));
  if (file.isEmpty()) return;
  frame.Work().ExportKeys(file, [page = QPointer<SettingsPage>(this), file](const QString& error) {
    if (!page) return;
    const QString words =
        error.isEmpty() ? CResourceManager::GetText(QStringLiteral("IDS_SETTINGS_KEYS_DONE")) : error;
    Toast::Show(*page, {error.isEmpty() ? QStringLiteral("check") : QStringLiteral("error"),
                        Page::Fill(words, {file}),
                        {},
                        {}});
  });
}
