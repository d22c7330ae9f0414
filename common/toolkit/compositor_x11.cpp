#include <xcb/xcb.h>

#include <QGuiApplication>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "common/toolkit/compositor.h"

namespace toolkit {
namespace {

// Who mixes the windows of the first screen owns this selection (freedesktop.org,
// Extended Window Manager Hints).
constexpr std::string_view kManager = "_NET_WM_CM_S0";

template <typename Reply>
using Answer = std::unique_ptr<Reply, decltype(&std::free)>;

}  // namespace

bool HasCompositor() {
  // Other platforms offer the interface, too, with no server behind it.
  if (QGuiApplication::platformName() != QStringLiteral("xcb")) return true;
  auto* x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
  xcb_connection_t* server = x11 ? x11->connection() : nullptr;
  if (!server) return true;
  const auto name = xcb_intern_atom(server, 1, kManager.size(), kManager.data());
  const Answer<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(server, name, nullptr), &std::free);
  if (!atom || atom->atom == XCB_ATOM_NONE) return false;
  const auto asked = xcb_get_selection_owner(server, atom->atom);
  const Answer<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(server, asked, nullptr),
                                                      &std::free);
  return owner && owner->owner != XCB_WINDOW_NONE;
}

}  // namespace toolkit
