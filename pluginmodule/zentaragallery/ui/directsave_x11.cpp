#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QSysInfo>
#include <QUrl>
#include <cstdlib>
#include <memory>

#include "ui/directsave.h"

namespace DirectSave {
namespace {

constexpr std::uint32_t kLongestPath = 64 * 1024;

template <class Reply>
using Owned = std::unique_ptr<Reply, decltype(&std::free)>;

xcb_connection_t* Connection() {
  const auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
  return x11 ? x11->connection() : nullptr;
}

xcb_atom_t Atom(xcb_connection_t* connection, const char* name) {
  const auto asked =
      xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::char_traits<char>::length(name)), name);
  const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, asked, nullptr), std::free);
  return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

// The window that the drag comes from owns its selection.
xcb_window_t Source(xcb_connection_t* connection) {
  const auto asked = xcb_get_selection_owner(connection, Atom(connection, "XdndSelection"));
  const Owned<xcb_get_selection_owner_reply_t> reply(
      xcb_get_selection_owner_reply(connection, asked, nullptr), std::free);
  return reply ? reply->owner : xcb_window_t{XCB_WINDOW_NONE};
}

}  // namespace

bool IsAvailable() { return Connection() != nullptr; }

void Offer(const QString& name) {
  xcb_connection_t* const connection = Connection();
  const xcb_window_t source = connection ? Source(connection) : xcb_window_t{XCB_WINDOW_NONE};
  if (source == XCB_WINDOW_NONE) return;
  const QByteArray bytes = name.toUtf8();
  xcb_change_property(connection, XCB_PROP_MODE_REPLACE, source, Atom(connection, "XdndDirectSave0"),
                      Atom(connection, "text/plain"), 8, static_cast<std::uint32_t>(bytes.size()),
                      bytes.constData());
  xcb_flush(connection);
}

bool IsButtonHeld() {
  xcb_connection_t* const connection = Connection();
  if (!connection) return false;
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  const auto asked = xcb_query_pointer(connection, root);
  const Owned<xcb_query_pointer_reply_t> reply(xcb_query_pointer_reply(connection, asked, nullptr),
                                               std::free);
  return reply && (reply->mask & (XCB_BUTTON_MASK_1 | XCB_BUTTON_MASK_2 | XCB_BUTTON_MASK_3)) != 0;
}

QString Answer() {
  xcb_connection_t* const connection = Connection();
  const xcb_window_t source = connection ? Source(connection) : xcb_window_t{XCB_WINDOW_NONE};
  if (source == XCB_WINDOW_NONE) return {};
  const auto asked = xcb_get_property(connection, 0, source, Atom(connection, "XdndDirectSave0"),
                                      XCB_ATOM_ANY, 0, kLongestPath / 4);
  const Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(connection, asked, nullptr), std::free);
  if (!reply || reply->format != 8) return {};
  const QByteArray bytes(static_cast<const char*>(xcb_get_property_value(reply.get())),
                         xcb_get_property_value_length(reply.get()));
  QUrl url(QString::fromUtf8(bytes), QUrl::TolerantMode);
  // "file://host/path" names the computer.
  if (url.host() == QSysInfo::machineHostName() || url.host() == QStringLiteral("localhost")) url.setHost({});
  return url.isLocalFile() && url.host().isEmpty() ? url.toLocalFile() : QString();
}

}  // namespace DirectSave
