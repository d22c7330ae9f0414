#pragma once

#include <QBasicTimer>
#include <QPointer>
#include <functional>

#include "common/toolkit/button.h"
#include "common/toolkit/label.h"

// The layer under a dialog: covers its parent, follows its size and takes every
// click. Lies over all that is in the parent at the time it is shown.
class DimLayer : public CWidgetUI {
 public:
  explicit DimLayer(QWidget& covered);
  void PaintBkImage(QPainter& painter) override;
  void DoEvent(TEventUI& event) override;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
};

// One sentence at the bottom of the page, with at most one action. Goes by
// itself after 5 seconds, with an action after 10, not while it is hovered or
// focused. One at a time over a page: the next takes the place.
class Toast : public CWidgetUI {
 public:
  struct Contents {
    QString icon;
    QString sentence;
    QString action;  // empty for none
    std::function<void()> onAction;
  };
  static constexpr int kShownMs = 5000;
  static constexpr int kShownWithActionMs = 10000;

  // Owned by the page. Words or keys.
  static Toast* Show(QWidget& page, const Contents& contents);
  ~Toast() override;
  void Dismiss();

  void PaintBkImage(QPainter& painter) override;

 protected:
  bool event(QEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;
  void timerEvent(QTimerEvent* event) override;

 private:
  Toast(QWidget& page, const Contents& contents);
  void Build(const Contents& contents);
  void Place();
  void StartClock();

  QBasicTimer clock;
  int lasts = kShownMs;
};

enum class BubbleKind { Accent, Error, Dark };

// A short text that points at a control from below it or from its end side,
// until it is dismissed or the control goes. Does not take the focus; told to
// assistive technology as an alert.
class Bubble : public CWidgetUI {
 public:
  // Owned by the window around `anchor`.
  static Bubble* Show(QWidget& anchor, const QString& words, BubbleKind kind, bool closable = false);
  void Dismiss();
  void SetWords(const QString& words);
  void PaintBkImage(QPainter& painter) override;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  Bubble(QWidget& anchor, BubbleKind kind, bool closable);
  void Place();

  QPointer<QWidget> anchor;
  CLabelUI* label = nullptr;
  BubbleKind kind;
};
