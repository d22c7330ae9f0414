#pragma once

#include <QBasicTimer>
#include <memory>

#include "common/toolkit/tcontrol.h"
#include "ui/viewer/mappedpixels.h"

// A moving picture: runs at its own speed while it is shown, and stands still while it
// is not. Fitted, never enlarged. Element "GifButton"; attribute rest as of DouThumLCD.
// Sends "turned" and "turnedacross" as that does.
// User-interface thread.
class CGifButtonUI : public CWidgetUI {
 public:
  QString GetClass() const override { return QStringLiteral("GifButtonUI"); }
  void SetAttribute(const QString& name, const QString& value) override;
  void DoEvent(TEventUI& event) override;
  void PaintBkImage(QPainter& painter) override;

  // From the first frame; null shows nothing.
  void SetFrames(std::shared_ptr<const MappedPixels> shown);
  void SetRotation(int degrees);
  int Frame() const { return frame; }
  bool IsRunning() const { return clock.isActive(); }

 protected:
  bool event(QEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  void timerEvent(QTimerEvent* event) override;

 private:
  void Run();
  bool HasEnded() const;

  std::shared_ptr<const MappedPixels> frames;
  QBasicTimer clock;
  QSize rest{64, 32};
  int frame = 0;
  int rounds = 0;  // that are through
  int rotation = 0;
};
