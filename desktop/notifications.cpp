#include "notifications.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>

namespace Notifications {

void Show(const QString& summary, const QString& body) {
  static quint32 last = 0;
  auto bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return;
  auto call = QDBusMessage::createMethodCall(
      QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("/org/freedesktop/Notifications"),
      QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
  // The body may be read as markup; file names and words must not be.
  call << QStringLiteral("Zentara Gallery") << last << QStringLiteral("zentaracloud") << summary
       << body.toHtmlEscaped() << QStringList()
       << QVariantMap{{QStringLiteral("desktop-entry"), QStringLiteral("zentaracloud")}} << -1;
  auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call));
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, [watcher] {
    const QDBusPendingReply<quint32> reply = *watcher;
    if (!reply.isError()) last = reply.value();
    watcher->deleteLater();
  });
}

}  // namespace Notifications
