#pragma once

// Whether the program starts with the user's session: an entry of his own in the
// desktop's autostart folder (freedesktop.org: $XDG_CONFIG_HOME/autostart).
namespace Autostart {

bool IsOn();
// False when the entry cannot be written or removed.
bool Set(bool on);

}  // namespace Autostart
