#pragma once

// The whole type: with its name alone the bus would not find the slot.
#include <QDBusVariant>
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
  void OnSetting(const QString& space, const QString& key, const QDBusVariant& setting);

 private:
  void Read(const QString& space, const QString& key);

  Theme::Desktop value;
};
