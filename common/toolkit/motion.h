#pragma once

#include <QColor>
#include <QEasingCurve>
#include <QElapsedTimer>
#include <QPoint>

class QWidget;

// How things move: the times and the curve of the design, and the few ways to move.
//
// Nothing moves where the desktop asks for reduced motion, where the style knows no
// animations, and where somebody has said so, as tests do. What lies in a window moves as a picture of
// itself: no geometry changes, and no more is painted than what moves. User-interface thread only.
namespace toolkit::motion {

inline constexpr int kColorMs = 120;  // hover, press, on states
inline constexpr int kPopupMs = 120;  // menu, popup, bubble, tool tip
inline constexpr int kDialogMs = 180, kDialogOutMs = 120;
inline constexpr int kToastMs = 240, kToastOutMs = 180;
inline constexpr int kPictureMs = 180;               // a thumbnail over its placeholder
inline constexpr int kPaneMs = 180;                  // attribute pane, volume
inline constexpr int kBarMs = 120, kBarOutMs = 240;  // the bar of the time line
inline constexpr int kFrameMs = 16;

// Pixels at 100 %, and the scale that a dialog grows from.
inline constexpr int kPopupWay = 4, kToastWay = 16, kPaneWay = 24;
inline constexpr double kDialogFrom = 0.98;

// Until it is set: as the desktop has it, or still where ZENTARA_STILL is set.
enum class Mode { Desktop, Still, Moving };
void SetMode(Mode mode);

// `milliseconds`, or 0 where nothing moves.
int Lasting(int milliseconds);
// Fast start, soft end.
QEasingCurve Curve();

// Where something comes from: that many real pixels away, and of that size.
struct From {
  QPoint offset{};
  double scale = 1;
};
// Lets a widget that has just been shown appear; at once where nothing moves.
void Appear(QWidget& widget, int milliseconds, const From& from = {});
// Lets a picture of the widget go, in its place, while the widget itself may go at once.
void Vanish(const QWidget& widget, int milliseconds, const From& to = {});

// A menu or a tool tip, a window of its own, fades in whenever it is shown, where windows
// are mixed.
void LetPopUp(QWidget& popup);

// A colour that follows another one in kColorMs. `widget` is painted again meanwhile; the
// first colour that it shows is there at once.
QColor Followed(const QWidget& widget, const QColor& wanted);

// The strength, from 0 to 1, of what has come a while ago; 1 where nothing moves.
class Arrival {
 public:
  void Begin() { since.start(); }
  void End() { since.invalidate(); }
  bool IsMoving() const { return since.isValid() && since.elapsed() < Lasting(kPictureMs); }
  double Strength() const;

 private:
  QElapsedTimer since;
};

}  // namespace toolkit::motion
