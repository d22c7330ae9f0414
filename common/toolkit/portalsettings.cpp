#include "common/toolkit/portalsettings.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

namespace {

const char kService[] = "org.freedesktop.portal.Desktop";
const char kPath[] = "/org/freedesktop/portal/desktop";
const char kInterface[] = "org.freedesktop.portal.Settings";
const char kAppearance[] = "org.freedesktop.appearance";
const char kDesktop[] = "org.gnome.desktop.interface";

// The portal's answers carry a variant in a variant.
QVariant Unwrapped(QVariant value) {
  while (value.metaType() == QMetaType::fromType<QDBusVariant>())
    value = value.value<QDBusVariant>().variant();
  return value;
}

}  // namespace

PortalSettings::PortalSettings(const Theme::Desktop& start, QObject* parent) : QObject(parent), value(start) {
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return;
  const bool listening =
      bus.connect(kService, kPath, kInterface, "SettingChanged", this, SLOT(OnSignal(QDBusMessage)));
  if (!listening) qWarning("Theme: cannot listen to the settings portal");
  Read(kAppearance, "color-scheme");
  Read(kAppearance, "contrast");
  Read(kDesktop, "enable-animations");
  Read(kDesktop, "text-scaling-factor");
}

void PortalSettings::Read(const QString& space, const QString& key) {
  QDBusMessage ask = QDBusMessage::createMethodCall(kService, kPath, kInterface, "Read");
  ask << space << key;
  const auto answer = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(ask), this);
  connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer, space, key] {
    answer->deleteLater();
    const QDBusPendingReply<QDBusVariant> reply = *answer;
    if (!reply.isError()) OnSetting(space, key, reply.value().variant());
  });
}

void PortalSettings::OnSignal(const QDBusMessage& message) {
  const QList<QVariant> parts = message.arguments();
  if (parts.size() == 3) OnSetting(parts[0].toString(), parts[1].toString(), parts[2]);
}

void PortalSettings::OnSetting(const QString& space, const QString& key, const QVariant& setting) {
  const QVariant plain = Unwrapped(setting);
  const Theme::Desktop before = value;
  if (space == kAppearance && key == "color-scheme") value.dark = plain.toUInt() == 1;
  if (space == kAppearance && key == "contrast") value.highContrast = plain.toUInt() == 1;
  if (space == kDesktop && key == "enable-animations") value.reducedMotion = !plain.toBool();
  if (space == kDesktop && key == "text-scaling-factor") value.textScale = plain.toDouble();
  if (value != before) Q_EMIT changed();
}
