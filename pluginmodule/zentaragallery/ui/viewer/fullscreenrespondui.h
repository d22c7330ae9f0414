#pragma once

#include <QBasicTimer>

#include "ui/viewer/picturewindow.h"

// The viewer on the whole of the main window. Its bars and the pointer leave when the
// pointer has not moved for a while. GlobalData::fullWnd is its handle; made by the
// viewer, which stays below it; deletes itself when it is closed.
class FullScreenRespondUI : public PictureWindow {
 public:
  static constexpr int kBarsMs = 2000;

  FullScreenRespondUI();

  QString GetSkinFile() override { return QStringLiteral("Gallery/FullScreen.xml"); }
  const char* GetWindowClassName() const override { return "FullScreenRespondUI"; }
  void InitWindow() override;
  void OnFinalMessage() override;
  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override;

  bool AreBarsShown() const { return barsShown; }
  // The timer that takes the bars away; 0 while something keeps them.
  int ClockId() const { return clock.isActive() ? clock.timerId() : 0; }

 protected:
  bool IsFull() const override { return true; }
  int TopBar() const override { return 48; }
  bool ShowsArrows() const override { return barsShown; }
  void Leave() override;
  void ToggleFullScreen() override { Leave(); }
  void ShowFavorite(bool on) override;
  void ShowAttributesOn(bool on) override;
  void OnEmptied() override;
  void OnBurstGone() override;
  bool eventFilter(QObject* watched, QEvent* event) override;
  void timerEvent(QTimerEvent* event) override;

 private:
  void ShowBars();
  void HideBars();
  bool KeepsBars() const;

  QBasicTimer clock;
  QPoint pointerAt;
  bool barsShown = true;
};
