// Notifications reach the desktop's service. A bus of its own and a service made here
// stand in for the desktop.

#include "notifications.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QTest>
#include <csignal>

namespace {

QString busAddress;

class Service : public QDBusVirtualObject {
 public:
  Service() : bus(QDBusConnection::connectToBus(busAddress, QStringLiteral("service"))) {
    EXPECT_TRUE(bus.registerVirtualObject(QStringLiteral("/org/freedesktop/Notifications"), this));
    EXPECT_TRUE(bus.registerService(QStringLiteral("org.freedesktop.Notifications")));
  }
  ~Service() override { bus.unregisterService(QStringLiteral("org.freedesktop.Notifications")); }
  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    if (message.interface() != QStringLiteral("org.freedesktop.Notifications") ||
        message.member() != QStringLiteral("Notify"))
      return false;
    calls << message;
    connection.send(
        message.createReply(QVariant::fromValue(quint32{41} + static_cast<quint32>(calls.size()))));
    return true;
  }
  QList<QDBusMessage> calls;

 private:
  QDBusConnection bus;
};

TEST(NotificationsTest, TellWhatIsThroughAndTakeThePlaceOfTheOneBefore) {
  Service service;
  Notifications::Show(QStringLiteral("Zentara Gallery"), QStringLiteral("3 < 4 & done"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return service.calls.size() == 1; }, 20'000));
  const QList<QVariant> first = service.calls[0].arguments();
  ASSERT_EQ(first.size(), 8);
  EXPECT_EQ(service.calls[0].signature(), QStringLiteral("susssasa{sv}i"));
  EXPECT_EQ(first[1].toUInt(), 0u);
  EXPECT_EQ(first[3].toString(), QStringLiteral("Zentara Gallery"));
  EXPECT_EQ(first[4].toString(), QStringLiteral("3 &lt; 4 &amp; done"));
  // Until the number of the first one has come back, the second would be another one.
  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        Notifications::Show(QStringLiteral("Zentara Gallery"), QStringLiteral("more"));
        return QTest::qWaitFor([&] { return service.calls.last().arguments()[1].toUInt() >= 42; }, 500);
      },
      20'000));
}

TEST(NotificationsTest, ServiceThatIsNotThereIsNotWaitedFor) {
  Notifications::Show(QStringLiteral("Zentara Gallery"), QStringLiteral("nobody sees it"));
  bool turned = false;
  QMetaObject::invokeMethod(
      qApp, [&turned] { turned = true; }, Qt::QueuedConnection);
  EXPECT_TRUE(QTest::qWaitFor([&turned] { return turned; }, 20'000));
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  QProcess daemon;
  daemon.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGTERM); });
  daemon.start(QStringLiteral("dbus-daemon"),
               {QStringLiteral("--session"), QStringLiteral("--print-address"), QStringLiteral("--nofork")});
  if (!daemon.waitForStarted() || !daemon.waitForReadyRead()) return 1;
  busAddress = QString::fromUtf8(daemon.readLine()).trimmed();
  qputenv("DBUS_SESSION_BUS_ADDRESS", busAddress.toUtf8());
  int result = 1;
  {
    QCoreApplication application(argc, argv);
    result = RUN_ALL_TESTS();
  }
  daemon.terminate();
  (void)daemon.waitForFinished();
  return result;
}
