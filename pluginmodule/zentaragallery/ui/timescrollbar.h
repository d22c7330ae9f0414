#pragma once

#include <QVariantAnimation>
#include <optional>

#include "common/toolkit/scrollbar.h"
#include "ui/view/timebar.h"

// The time line's scroll bar: floats inside the rows, shows itself for a moment after
// a scroll, and tells under the pointer which day lies at that height.
// User-interface thread.
class CTimeScrollBarUINew : public CScrollBarUI {
 public:
  static constexpr int kShownMs = 2000;
  static constexpr int kTimerId = 20;

  explicit CTimeScrollBarUINew(QWidget* parent = nullptr);

  QString GetClass() const override { return QStringLiteral("CTimeScrollBarUINew"); }
  CControlUI* GetInterface(const QString& name) override;
  void SetAttribute(const QString& name, const QString& value) override;
  void DoInit() override;
  void DoEvent(TEventUI& event) override;
  QRect ThumbRect() const override;

  void SetLayout(std::shared_ptr<const ViewCacheData> layout) { model.SetLayout(std::move(layout)); }
  // Follows the list to a scroll position: its day is the current one.
  void SetDatePos(int position);
  void ShowForAWhile();
  bool IsShown() const { return visibleTimer || hot || isSliderDown(); }

  // The text of the day at a height of the bar; empty where there is none.
  QString GetDateAtPoint(int y) const;
  // The text that the floating date line shows, of all bars.
  static QString& DateText();

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  class Bubble;

  void SetScrollFromPoint(int y);
  // Towards what IsShown says.
  void Fade();
  void PaintRail(QPainter& painter);
  void PaintThumb(QPainter& painter);
  void PaintDateBubble();
  void HideBubble();

  TimeBar model;
  std::optional<std::int64_t> currentDate;
  QString currentText, currentLanguage;  // the words of the date, and whose
  QPoint pointer;
  bool hot = false;
  bool visibleTimer = false;
  QVariantAnimation fade;
  double strength = 0;  // from 0, not to be seen, to 1
  QString thumbColor = QStringLiteral("thumb"), textColor = QStringLiteral("#FFFFFF");
  QWidget* bubble = nullptr;
};
