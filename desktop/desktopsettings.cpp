#include "desktopsettings.h"

#include <QGuiApplication>
#include <QLocale>

#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/theme.h"
#include "host/base/globalparamwrapper.h"
#include "ui/userproperties.h"

namespace DesktopSettings {
namespace {

constexpr char kChosen[] = "DesktopCloudChosen", kTray[] = "DesktopCloseToTray",
               kSyncOff[] = "DesktopSyncOff", kWatched[] = "DesktopWatchedFolders";
// Names of GlobalParamWrapper, which hands them to the transfers.
constexpr char kUploadLimit[] = "uploadLimitBytes", kDownloadLimit[] = "downloadLimitBytes";
constexpr char kLanguage[] = "DesktopLanguage", kTheme[] = "DesktopTheme";

// What was chosen just now, before it is stored; else what is stored, as a number too.
qint64 Limit(const char* name, std::int64_t stored) {
  const std::string chosen = UserProperties::GetText(name);
  return chosen.empty() ? stored : QString::fromStdString(chosen).toLongLong();
}

}  // namespace

bool Chosen() { return UserProperties::GetFlag(kChosen); }
void SetChosen() { UserProperties::Set(kChosen, 1); }
void ClearChosen() { UserProperties::Set(kChosen, 0); }
bool ClosesToTray() { return UserProperties::GetFlag(kTray); }
void SetClosesToTray(bool on) { UserProperties::Set(kTray, on ? 1 : 0); }
bool Syncs() { return !UserProperties::GetFlag(kSyncOff); }
void SetSyncs(bool on) { UserProperties::Set(kSyncOff, on ? 0 : 1); }

QStringList WatchedFolders() {
  return QString::fromStdString(UserProperties::GetText(kWatched)).split(u'\n', Qt::SkipEmptyParts);
}

void SetWatchedFolders(const QStringList& folders) {
  UserProperties::Set(kWatched, folders.join(u'\n').toStdString());
}

qint64 UploadLimit() { return Limit(kUploadLimit, GlobalParamWrapper::GetInstance()->GetUploadLimit()); }
void SetUploadLimit(const qint64& bytes) { UserProperties::Set(kUploadLimit, std::to_string(bytes)); }
qint64 DownloadLimit() {
  return Limit(kDownloadLimit, GlobalParamWrapper::GetInstance()->GetDownloadLimit());
}
void SetDownloadLimit(const qint64& bytes) { UserProperties::Set(kDownloadLimit, std::to_string(bytes)); }

QString Language() { return QString::fromStdString(UserProperties::GetText(kLanguage)); }
QString ThemeName() { return QString::fromStdString(UserProperties::GetText(kTheme)); }

void SetLanguage(const QString& tag) {
  UserProperties::Set(kLanguage, tag.toStdString());
  Apply();
}

void SetThemeName(const QString& name) {
  UserProperties::Set(kTheme, name.toStdString());
  Apply();
}

void Apply() {
  const QString theme = ThemeName();
  Theme::Instance().SetMode(theme == QStringLiteral("dark")    ? ThemeMode::Dark
                            : theme == QStringLiteral("light") ? ThemeMode::Light
                                                               : ThemeMode::System);
  const QString chosen = Language();
  CResourceManager::GetInstance().SetLanguage(chosen.isEmpty() ? QLocale::system().bcp47Name() : chosen);
  QGuiApplication::setLayoutDirection(CResourceManager::IsRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
}

}  // namespace DesktopSettings
