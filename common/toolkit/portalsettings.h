#pragma once

#include <QDBusMessage>
#include <QObject>

#include "common/toolkit/theme.h"

// The desktop's settings as its portal on the session bus tells them. Asked
// without waiting; nothing comes when there is no portal.
class PortalSettings : public QObject {
  Q_OBJECT
 public:
  PortalSettings(const Theme::Desktop& start, QObject* parent);
  Theme::Desktop Value() const { return value; }

 Q_SIGNALS:
  void changed();

 private Q_SLOTS:
  // The bus does not find a slot that takes a QDBusVariant before some other
  // message has brought one; it finds this one always.
  void OnSignal(const QDBusMessage& message);

 private:
  void OnSetting(const QString& space, const QString& key, const QVariant& setting);
  void Read(const QString& space, const QString& key);

  Theme::Desktop value;
};
