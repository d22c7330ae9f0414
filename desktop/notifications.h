#pragma once

#include <QString>

// The desktop's notifications (freedesktop.org, version 1.2 of the interface
// org.freedesktop.Notifications); quiet where nobody shows any. User-interface thread;
// waits for nobody.
namespace Notifications {

// Takes the place of the one before that is still shown.
void Show(const QString& summary, const QString& body);

}  // namespace Notifications
