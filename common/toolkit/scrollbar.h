#pragma once

#include <QScrollBar>

#include "common/toolkit/tcontrol.h"

class CListBodyUI;

// A scroll bar with position and range (0 to range).
//
// With an owner every move of the user goes to the owner's SetScrollPos; without
// one, "valuechanged" is all. It is hidden while there is nothing to scroll.
// Attributes: hor, range, value, thumbsize (a fixed length of the thumb).
class CScrollBarUI : public TControl<QScrollBar> {
 public:
  explicit CScrollBarUI(QWidget* parent = nullptr);

  QString GetClass() const override { return QStringLiteral("ScrollBarUI"); }
  CControlUI* GetInterface(const QString& name) override;
  void SetAttribute(const QString& name, const QString& value) override;

  void SetOwner(CListBodyUI* body) { owner = body; }
  CListBodyUI* GetOwner() const { return owner; }

  bool IsHorizontal() const { return orientation() == Qt::Horizontal; }
  void SetHorizontal(bool horizontal);
  // Clamps the position into the new range.
  void SetScrollRange(int range);
  int GetScrollRange() const { return maximum(); }
  // Clamped; tells nobody, as the caller is the one who moves the contents.
  virtual void SetScrollPos(int position);
  int GetScrollPos() const { return value(); }
  void SetLineSize(int pixels) { setSingleStep(pixels); }
  int GetLineSize() const { return singleStep(); }
  void SetPageSize(int pixels) { setPageStep(pixels); }

  // Pixels at 100 %; 0 for a thumb as long as the shown part.
  int ThumbSize() const { return thumbSize; }
  // Where the thumb is, in the bar.
  virtual QRect ThumbRect() const;
  bool IsHot() const { return underMouse() || isSliderDown(); }

 private:
  void MovedByUser(int position);

  CListBodyUI* owner = nullptr;
  int thumbSize = 0;
  bool telling = true;
};
