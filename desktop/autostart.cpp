#include "autostart.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>

namespace Autostart {
namespace {

QString Entry() {
  return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
         QStringLiteral("/autostart/zentaracloud.desktop");
}

}  // namespace

bool IsOn() { return QFile::exists(Entry()); }

bool Set(bool on) {
  if (!on) return !IsOn() || QFile::remove(Entry());
  if (!QDir().mkpath(QFileInfo(Entry()).path())) return false;
  QSaveFile file(Entry());
  if (!file.open(QIODevice::WriteOnly)) return false;
  // Quoted, so that a path with a blank stays one word; these four are escaped inside.
  QString program = QCoreApplication::applicationFilePath();
  for (const QChar sign : {u'\\', u'"', u'`', u'$'}) program.replace(sign, QString(u'\\') + sign);
  file.write(
      QStringLiteral("[Desktop Entry]\nType=Application\nName=Zentara Gallery\nExec=\"%1\" --background\n"
                     "Icon=zentaracloud\nX-GNOME-Autostart-enabled=true\n")
          .arg(program)
          .toUtf8());
  return file.commit();
}

}  // namespace Autostart
