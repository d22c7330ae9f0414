#pragma once

#include <functional>

class QApplication;
class QWidget;

namespace toolkit {

// Before the QApplication is made: all sizes are device pixels, scaled by the
// toolkit alone.
void Prepare();
// After it was made: style, theme, fonts, focus ring. Follows the desktop.
void Start(QApplication& application);

// Runs `work` on the user-interface thread, in the order of the calls and not within
// the call itself; from any thread. Dropped when there is no application.
void RunLater(std::function<void()> work);

// Dots per inch of the widget's screen; 96 * ZENTARA_SCALE / 100 when that is
// set.
int ScreenDpi(const QWidget* widget = nullptr);
// Percent, of the window around the widget; of the screen outside any.
int ScaleOf(const QWidget* widget);
int Scaled(int pixels, int scale);
double ScaledF(double pixels, int scale);

}  // namespace toolkit
