// The theme follows the desktop's settings portal. A bus of its own and a
// portal made here stand in for the desktop.

#include <gtest/gtest.h>

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QTest>
#include <csignal>

#include <sys/prctl.h>

#include "common/toolkit/theme.h"
#include "common/toolkit/toolkit.h"

namespace {

const char kPath[] = "/org/freedesktop/portal/desktop";
const char kInterface[] = "org.freedesktop.portal.Settings";

class Portal : public QDBusVirtualObject {
 public:
  explicit Portal(const QString& address) : bus(QDBusConnection::connectToBus(address, "portal")) {
    EXPECT_TRUE(bus.registerVirtualObject(kPath, this));
    EXPECT_TRUE(bus.registerService("org.freedesktop.portal.Desktop"));
  }

  QString introspect(const QString&) const override { return {}; }

  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    if (message.interface() != kInterface || message.member() != "Read") return false;
    const QString key = message.arguments().value(1).toString();
    if (!settings.contains(key)) {
      connection.send(message.createErrorReply("org.freedesktop.portal.Error.NotFound", "no such setting"));
      return true;
    }
    const QVariant inner = QVariant::fromValue(QDBusVariant(settings[key]));
    connection.send(message.createReply(QVariant::fromValue(QDBusVariant(inner))));
    return true;
  }

  void Change(const QString& space, const QString& key, const QVariant& value) {
    QDBusMessage told = QDBusMessage::createSignal(kPath, kInterface, "SettingChanged");
    told << space << key << QVariant::fromValue(QDBusVariant(value));
    bus.send(told);
  }

  QHash<QString, QVariant> settings{{"color-scheme", 1u}, {"text-scaling-factor", 1.25}};

 private:
  QDBusConnection bus;
};

bool WaitUntil(const std::function<bool()>& holds) { return QTest::qWaitFor(holds, 20000); }

QString busAddress;

TEST(DesktopSettings, AreReadAtTheStartAndFollowed) {
  Portal portal(busAddress);
  Theme& theme = Theme::Instance();
  theme.FollowDesktop();
  EXPECT_FALSE(theme.IsDark());  // nobody waits for the answer
  ASSERT_TRUE(WaitUntil([&] { return theme.IsDark() && theme.TextScale() == 1.25; }));
  EXPECT_FALSE(theme.IsHighContrast());

  portal.Change("org.freedesktop.appearance", "color-scheme", 2u);
  EXPECT_TRUE(WaitUntil([&] { return !theme.IsDark(); }));
  portal.Change("org.freedesktop.appearance", "contrast", 1u);
  EXPECT_TRUE(WaitUntil([&] { return theme.IsHighContrast(); }));
  portal.Change("org.gnome.desktop.interface", "enable-animations", false);
  EXPECT_TRUE(WaitUntil([&] { return theme.HasReducedMotion(); }));
  portal.Change("org.gnome.desktop.interface", "text-scaling-factor", 1.0);
  EXPECT_TRUE(WaitUntil([&] { return theme.TextScale() == 1.0; }));
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  QProcess daemon;
  daemon.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  // A test that is cut off leaves no bus behind.
  daemon.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGKILL); });
  daemon.start("dbus-daemon", {"--session", "--nofork", "--print-address"});
  if (!daemon.waitForStarted() || !daemon.waitForReadyRead(20000)) return 1;
  busAddress = QString::fromUtf8(daemon.readLine()).trimmed();
  qputenv("DBUS_SESSION_BUS_ADDRESS", busAddress.toUtf8());
  qputenv("QT_QPA_PLATFORM", "offscreen");
  toolkit::Prepare();
  QApplication application(argc, argv);
  const int result = RUN_ALL_TESTS();
  daemon.kill();
  daemon.waitForFinished();
  return result;
}
