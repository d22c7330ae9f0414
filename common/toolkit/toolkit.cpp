#include "common/toolkit/toolkit.h"

#include <QApplication>
#include <QScreen>
#include <QStyle>
#include <QToolTip>
#include <QWidget>
#include <deque>

#include "common/platform/mutex.h"
#include "common/toolkit/focusring.h"
#include "common/toolkit/gallerystyle.h"
#include "common/toolkit/paintmanager.h"
#include "common/toolkit/theme.h"
#include "common/toolkit/windowimplbase.h"

namespace toolkit {

void Prepare() {
  qputenv("QT_ENABLE_HIGHDPI_SCALING", "0");
  QCoreApplication::setAttribute(Qt::AA_DontCreateNativeWidgetSiblings);
}

namespace {

// Fonts and colours of what is no control of a skin: menus, tool tips, dialogs
// of Qt.
void Dress(QApplication& application) {
  const Theme& theme = Theme::Instance();
  const int scale = ScaleOf(nullptr);
  application.setFont(theme.Font("body", scale));
  QPalette palette;
  application.style()->polish(palette);
  application.setPalette(palette);
  QToolTip::setFont(theme.Font("small", scale));
  QToolTip::setPalette(palette);
}

// What is to be run lies here and not in Qt's events, so that tools which do not know
// Qt's locks see who hands what to whom.
struct Handed {
  static Handed& Get() {
    static Handed& handed = *new Handed;  // Workers may still call while the process ends.
    return handed;
  }
  std::function<void()> TakeFirst() {
    platform::MutexLock hold(lock);
    auto first = std::move(work.front());
    work.pop_front();
    return first;
  }

  platform::Mutex lock;
  std::deque<std::function<void()>> work GUARDED_BY(lock);
};

// Gets an event for each piece of work.
class Receiver : public QObject {
 public:
  Receiver() { moveToThread(QCoreApplication::instance()->thread()); }
  bool event(QEvent* event) override {
    if (event->type() != QEvent::User) return QObject::event(event);
    Handed::Get().TakeFirst()();
    return true;
  }
};

}  // namespace

void RunLater(std::function<void()> work) {
  if (!QCoreApplication::instance()) return;
  static Receiver& receiver = *new Receiver;
  Handed& handed = Handed::Get();
  platform::MutexLock hold(handed.lock);
  handed.work.push_back(std::move(work));
  QCoreApplication::postEvent(&receiver, new QEvent(QEvent::User));  // Under the lock: in the same order.
}

void Start(QApplication& application) {
  application.setStyle(new GalleryStyle);
  Dress(application);
  QObject::connect(&Theme::Instance(), &Theme::changed, &application, [&application] { Dress(application); });
  Theme::Instance().FollowDesktop();
  new FocusRing(application);
}

int ScreenDpi(const QWidget* widget) {
  const int percent = qEnvironmentVariableIntValue("ZENTARA_SCALE");
  if (percent > 0) return (96 * percent + 50) / 100;
  const QScreen* screen = widget ? widget->screen() : QGuiApplication::primaryScreen();
  return screen ? qRound(screen->logicalDotsPerInch()) : 96;
}

int ScaleOf(const QWidget* widget) {
  if (const auto* window = WindowAround(widget)) return window->Manager().GetScale();
  return (ScreenDpi(nullptr) * 100 + 48) / 96;
}

int Scaled(int pixels, int scale) { return qRound(pixels * scale / 100.0); }

double ScaledF(double pixels, int scale) { return pixels * scale / 100; }

}  // namespace toolkit
