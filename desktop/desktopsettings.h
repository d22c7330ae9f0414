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
// Language tag and theme ("system", "light", "dark"); empty: the desktop's.
QString Language();
void SetLanguage(const QString& tag);
QString ThemeName();
void SetThemeName(const QString& name);
// Takes both over.
void Apply();

}  // namespace DesktopSettings
