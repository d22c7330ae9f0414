#pragma once

#include <QColor>
#include <QFont>
#include <QObject>
#include <QString>

class QPainter;

enum class ThemeMode { System, Light, Dark };

// Colours, fonts and motion of all windows: one object, user-interface thread
// only.
//
// In the mode System it follows the desktop: the settings portal's color-scheme
// and contrast, text scale and animations. A desktop without the portal is
// light. Every change is told by changed(), and all windows make themselves
// anew at once.
class Theme : public QObject {
  Q_OBJECT
 public:
  static Theme& Instance();

  void SetMode(ThemeMode value);
  ThemeMode Mode() const { return mode; }
  bool IsDark() const;
  bool IsHighContrast() const { return highContrast; }
  bool HasReducedMotion() const { return reducedMotion; }
  double TextScale() const { return textScale; }

  // The tokens of the design ("page", "accent", "text-2"); invalid for others.
  QColor Color(const QString& token) const;
  // The styles display, heading, dialog, title, strong, body, button, label,
  // small, nav and their variants NAME-strong; body for others. The size is in
  // pixels at `scale` percent, with the desktop's text scale in it.
  QFont Font(const QString& style, int scale = 100) const;
  // Line height in pixels at `scale` percent.
  int LineHeight(const QString& style, int scale = 100) const;

  // Milliseconds of a motion, 0 with reduced motion.
  int Duration(int milliseconds) const { return reducedMotion ? 0 : milliseconds; }

  // What the desktop said; also for tests.
  struct Desktop {
    bool dark = false;
    bool highContrast = false;
    bool reducedMotion = false;
    double textScale = 1;
    bool operator==(const Desktop&) const = default;
  };
  void SetDesktop(const Desktop& value);
  // Asks the settings portal on the session bus, without waiting, and listens
  // to its changes.
  void FollowDesktop();

 Q_SIGNALS:
  void changed();

 private Q_SLOTS:
  void OnPortalSetting(const QString& space, const QString& key, const class QDBusVariant& value);

 private:
  Theme();
  void ReadPortal(const QString& space, const QString& key);

  ThemeMode mode = ThemeMode::System;
  Desktop desktop;
  bool highContrast = false;
  bool reducedMotion = false;
  double textScale = 1;
};

namespace toolkit {

// Shadows of the design: 1 segment and round arrow, 2 menu, toast, popup, 3
// dialog. Paints outside `rect` with the edge around it; ShadowMargin is how far
// it reaches, in real pixels.
void PaintShadow(QPainter& painter, const QRect& rect, int radius, int level, int scale);
int ShadowMargin(int level, int scale);

}  // namespace toolkit
