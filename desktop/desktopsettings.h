#pragma once

#include <QString>
#include <QStringList>

// What the window keeps for its user, in the settings of the profile.
namespace DesktopSettings {

// The first start has led to a choice of cloud, or to none.
bool Chosen();
void SetChosen();
void ClearChosen();
bool ClosesToTray();
void SetClosesToTray(bool on);
// Whether the gallery keeps in step with the photo cloud.
bool Syncs();
void SetSyncs(bool on);
// Folders whose pictures are imported by themselves.
QStringList WatchedFolders();
void SetWatchedFolders(const QStringList& folders);
// Bytes a second of all uploads and of all downloads; 0 for no limit. Transfers follow at
// once.
qint64 UploadLimit();
void SetUploadLimit(const qint64& bytes);
qint64 DownloadLimit();
void SetDownloadLimit(const qint64& bytes);
// Language tag and theme ("system", "light", "dark"); empty: the desktop's.
QString Language();
void SetLanguage(const QString& tag);
QString ThemeName();
void SetThemeName(const QString& name);
// Takes both over.
void Apply();

}  // namespace DesktopSettings
