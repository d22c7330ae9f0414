#include "common/toolkit/motion.h"

#include <QApplication>
#include <QGraphicsEffect>
#include <QHash>
#include <QLabel>
#include <QPainter>
#include <QPropertyAnimation>
#include <QStyle>
#include <QTimer>
#include <QVariantAnimation>

#include "common/toolkit/compositor.h"
#include "common/toolkit/theme.h"

namespace toolkit::motion {
namespace {

// Draws what it lies on the nearer to its place, and the stronger, the further it has come.
class WayEffect : public QGraphicsEffect {
 public:
  WayEffect(QWidget* parent, const From& begin) : QGraphicsEffect(parent), from(begin) {}
  void SetCome(double part) {
    come = part;
    update();
  }

 protected:
  QRectF boundingRectFor(const QRectF& source) const override {
    return source | source.translated(from.offset);
  }
  void draw(QPainter* painter) override {
    QPoint corner;
    const QPixmap picture = sourcePixmap(Qt::LogicalCoordinates, &corner);
    const QPointF middle = QRectF(QPointF(corner), QSizeF(picture.size())).center();
    const double scale = from.scale + (1 - from.scale) * come;
    painter->setOpacity(come);
    painter->setRenderHint(QPainter::SmoothPixmapTransform, scale < 1);
    painter->translate(middle + QPointF(from.offset) * (1 - come));
    painter->scale(scale, scale);
    painter->translate(-middle);
    painter->drawPixmap(corner, picture);
  }

 private:
  const From from;
  double come = 0;
};

// Moves `effect` of `widget` between the two parts, then calls `ended`.
template <class Ended>
void Run(WayEffect& effect, int milliseconds, double begin, double end, Ended ended) {
  effect.SetCome(begin);
  auto* way = new QVariantAnimation(&effect);
  way->setDuration(milliseconds);
  way->setStartValue(begin);
  way->setEndValue(end);
  way->setEasingCurve(Curve());
  QObject::connect(way, &QVariantAnimation::valueChanged, &effect,
                   [&effect](const QVariant& value) { effect.SetCome(value.toDouble()); });
  QObject::connect(way, &QAbstractAnimation::finished, effect.parent(), ended, Qt::QueuedConnection);
  way->start();
}

Mode& Chosen() {
  static Mode mode = qEnvironmentVariableIsSet("ZENTARA_STILL") ? Mode::Still : Mode::Desktop;
  return mode;
}

// Fades windows in.
class PopUps : public QObject {
 public:
  bool eventFilter(QObject* watched, QEvent* event) override {
    auto* popup = qobject_cast<QWidget*>(watched);
    if (event->type() == QEvent::Show && popup && Lasting(kPopupMs) > 0 && IsMixed()) Fade(*popup);
    return false;
  }

 private:
  // Elsewhere Qt has no such thing, and says so each time.
  static bool IsMixed() { return QGuiApplication::platformName() == QLatin1String("xcb") && HasCompositor(); }
  static void Fade(QWidget& popup) {
    auto* fade = new QPropertyAnimation(&popup, "windowOpacity", &popup);
    fade->setDuration(kPopupMs);
    fade->setStartValue(0.0);
    fade->setEndValue(1.0);
    fade->setEasingCurve(Curve());
    fade->start(QAbstractAnimation::DeleteWhenStopped);
  }
};

struct Following {
  QColor from, to;
  QElapsedTimer since;
};

QColor Between(const QColor& from, const QColor& to, double part) {
  const auto mix = [part](float a, float b) { return a + (b - a) * static_cast<float>(part); };
  // What is not there has the colour of what is there.
  const QColor a = from.isValid() ? from : QColor(to.red(), to.green(), to.blue(), 0);
  const QColor b = to.isValid() ? to : QColor(from.red(), from.green(), from.blue(), 0);
  return QColor::fromRgbF(mix(a.redF(), b.redF()), mix(a.greenF(), b.greenF()), mix(a.blueF(), b.blueF()),
                          mix(a.alphaF(), b.alphaF()));
}

QColor Now(const Following& of) {
  const int lasts = Lasting(kColorMs);
  const bool there = !of.since.isValid() || of.since.elapsed() >= lasts;
  return there ? of.to
               : Between(of.from, of.to,
                         Curve().valueForProgress(static_cast<double>(of.since.elapsed()) / lasts));
}

}  // namespace

void SetMode(Mode mode) { Chosen() = mode; }

int Lasting(int milliseconds) {
  if (Chosen() == Mode::Moving) return milliseconds;
  const bool still =
      Chosen() == Mode::Still || QApplication::style()->styleHint(QStyle::SH_Widget_Animation_Duration) == 0;
  return still ? 0 : Theme::Instance().Duration(milliseconds);
}

QEasingCurve Curve() {
  QEasingCurve curve(QEasingCurve::BezierSpline);
  curve.addCubicBezierSegment({0.2, 0}, {0, 1}, {1, 1});
  return curve;
}

void Appear(QWidget& widget, int milliseconds, const From& from) {
  const int lasts = Lasting(milliseconds);
  if (lasts == 0) return;
  auto* effect = new WayEffect(&widget, from);
  widget.setGraphicsEffect(effect);
  // An effect that stays would have the widget drawn into a picture each time.
  Run(*effect, lasts, 0, 1, [&widget, effect] {
    if (widget.graphicsEffect() == effect) widget.setGraphicsEffect(nullptr);
  });
}

void Vanish(const QWidget& widget, int milliseconds, const From& to) {
  const int lasts = Lasting(milliseconds);
  if (lasts == 0 || !widget.parentWidget() || !widget.parentWidget()->isVisible()) return;
  auto* picture = new QLabel(widget.parentWidget());
  picture->setAttribute(Qt::WA_TransparentForMouseEvents);
  picture->setFocusPolicy(Qt::NoFocus);
  QPixmap pixels(widget.size());
  pixels.fill(Qt::transparent);
  const_cast<QWidget&>(widget).render(&pixels, {}, {}, QWidget::DrawChildren);
  picture->setPixmap(pixels);
  picture->setGeometry(widget.geometry());
  auto* effect = new WayEffect(picture, to);
  picture->setGraphicsEffect(effect);
  picture->show();
  picture->stackUnder(&const_cast<QWidget&>(widget));
  Run(*effect, lasts, 1, 0, [picture] { picture->deleteLater(); });
}

void LetPopUp(QWidget& popup) {
  static PopUps* const filter = new PopUps;
  popup.removeEventFilter(filter);
  popup.installEventFilter(filter);
}

QColor Followed(const QWidget& widget, const QColor& wanted) {
  static QHash<const QWidget*, Following> all;
  if (Lasting(kColorMs) == 0) return wanted;
  auto known = all.find(&widget);
  if (known == all.end()) {
    all.insert(&widget, {wanted, wanted, {}});
    QObject::connect(&widget, &QObject::destroyed, [of = &widget] { all.remove(of); });
    return wanted;
  }
  if (known->to != wanted) {
    known->from = Now(*known);
    known->to = wanted;
    known->since.start();
  }
  if (known->since.isValid() && known->since.elapsed() < kColorMs)
    QTimer::singleShot(kFrameMs, &widget, [of = const_cast<QWidget*>(&widget)] { of->update(); });
  return Now(*known);
}

double Arrival::Strength() const {
  return IsMoving() ? Curve().valueForProgress(static_cast<double>(since.elapsed()) / Lasting(kPictureMs))
                    : 1;
}

}  // namespace toolkit::motion
