// Another program into which pictures are dropped. Says on standard output what happens:
// "ready", "over" with each move, "drop", "done WORD".
//
//   dragtarget uris|save|refuse FOLDER   copies what it is given to FOLDER, or names it

#include <xcb/xcb.h>

#include <QApplication>
#include <QDropEvent>
#include <QFile>
#include <QFileInfo>
#include <QMimeData>
#include <QUrl>
#include <QWidget>
#include <QWindow>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

void Say(const std::string& words) {
  std::puts(words.c_str());
  std::fflush(stdout);
}

xcb_atom_t Atom(xcb_connection_t* connection, const char* name) {
  auto* reply = xcb_intern_atom_reply(
      connection, xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
      nullptr);
  const xcb_atom_t atom = reply->atom;
  std::free(reply);
  return atom;
}

class Target : public QWidget {
 public:
  Target(QString targetMode, QString targetFolder)
      : mode(std::move(targetMode)), folder(std::move(targetFolder)) {
    setAcceptDrops(true);
    setGeometry(1200, 100, 200, 200);
  }

 protected:
  void dragEnterEvent(QDragEnterEvent* event) override { event->acceptProposedAction(); }
  void dragMoveEvent(QDragMoveEvent* event) override {
    // Some targets look already while nothing is dropped.
    (void)event->mimeData()->urls();
    mode == QStringLiteral("refuse") ? event->ignore() : event->acceptProposedAction();
    Say("over");
  }
  void dropEvent(QDropEvent* event) override {
    Say("drop");
    const std::string action = event->possibleActions() == Qt::CopyAction ? "copy" : "other";
    const std::string word =
        mode == QStringLiteral("save") ? Save(*event->mimeData()) : Copy(*event->mimeData());
    event->acceptProposedAction();
    Say("done " + word + " " + action);
  }

 private:
  std::string Copy(const QMimeData& data) {
    int copied = 0;
    for (const QUrl& url : data.urls()) {
      const QString path = url.toLocalFile();
      copied += QFile::copy(path, folder + u'/' + QFileInfo(path).fileName()) ? 1 : 0;
    }
    return std::to_string(copied);
  }
  // The other half of the protocol: the offered name becomes an address, then the data is
  // asked for.
  std::string Save(const QMimeData& data) {
    if (!data.hasFormat(QStringLiteral("XdndDirectSave0"))) return "no-offer";
    auto* const connection = qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
    const xcb_atom_t property = Atom(connection, "XdndDirectSave0");
    auto* owner = xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, Atom(connection, "XdndSelection")), nullptr);
    const xcb_window_t source = owner->owner;
    std::free(owner);
    auto* name = xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, source, property, XCB_ATOM_ANY, 0, 1000), nullptr);
    const std::string offered(static_cast<const char*>(xcb_get_property_value(name)),
                              static_cast<std::size_t>(xcb_get_property_value_length(name)));
    std::free(name);
    const std::string address =
        QUrl::fromLocalFile(folder + u'/' + QString::fromStdString(offered)).toEncoded().toStdString();
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, source, property, Atom(connection, "text/plain"),
                        8, static_cast<std::uint32_t>(address.size()), address.data());
    xcb_flush(connection);
    return offered + " " + data.data(QStringLiteral("XdndDirectSave0")).toStdString();
  }

  const QString mode, folder;
};

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  Target target(QString::fromLocal8Bit(argv[1]), QString::fromLocal8Bit(argv[2]));
  target.show();
  QObject::connect(&application, &QGuiApplication::lastWindowClosed, &application, &QCoreApplication::quit);
  while (!target.windowHandle() || !target.windowHandle()->isExposed())
    QApplication::processEvents(QEventLoop::WaitForMoreEvents);
  Say("ready");
  return QApplication::exec();
}
