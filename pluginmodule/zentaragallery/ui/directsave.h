#pragma once

#include <QString>

// The direct save protocol of X11 drags: the source offers a name, the target answers
// with the path at which it wants that name. So the source learns the folder in which a
// drag has ended. (freedesktop.org, "XDS", version 0.)
//
// Only while a drag of this program runs; elsewhere than on X11 all does nothing.
// User-interface thread.
namespace DirectSave {

// The type that a drag's data lists, and the property on its window.
inline const QString kMime = QStringLiteral("XdndDirectSave0");

bool IsAvailable();
// Writes the name where the target looks for it.
void Offer(const QString& name);
// Whether the user still holds a button, as the server sees it: a drag keeps the events of
// the pointer to itself. False elsewhere than on X11.
bool IsButtonHeld();
// The local path that the target has answered with; empty without one, and for one on
// another computer.
QString Answer();

}  // namespace DirectSave
