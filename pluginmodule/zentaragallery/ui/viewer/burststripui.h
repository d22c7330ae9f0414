#pragma once

#include "common/toolkit/tcontrol.h"

// The shots of the burst that is looked into, 64 x 49 each. A click on one sends
// "itemselect" with its index. Element "BurstStrip". User-interface thread.
class BurstStripUI : public CWidgetUI {
 public:
  BurstStripUI();

  QString GetClass() const override { return QStringLiteral("BurstStripUI"); }
  void DoEvent(TEventUI& event) override;
  void PaintBkImage(QPainter& painter) override;

  // Framed and in sight.
  void SetShown(int index);
  // Of a shot, in the strip; it may lie outside.
  QRect MemberRect(int index) const;

 protected:
  bool event(QEvent* event) override;

 private:
  int IndexAt(QPoint point) const;
  void AskForThumbnails();

  int shown = 0;
};
