#pragma once

namespace toolkit {

// Whether see-through parts of a window show what lies below it. On an X server nobody
// may be there to mix windows; such parts are black then. Asks the server.
bool HasCompositor();

}  // namespace toolkit
