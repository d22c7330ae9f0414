#pragma once

#include <QBasicTimer>
#include <QPointer>
#include <functional>

#include "common/toolkit/button.h"
#include "common/toolkit/label.h"

// Small things that lie over a page. User-interface thread only.

// The shadow of a widget inside a window: lies right below it, follows it and
// goes with it. Takes no clicks.
class ShadowUI : public CWidgetUI {
 public:
  // Level as in toolkit::PaintShadow, radius at 100 %.
  ShadowUI(QWidget& caster, int radius, int level);
  void PaintBkImage(QPainter& painter) override;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void Follow();

  QWidget& caster;
  int radius, level;
};

// The layer under a dialog: covers its parent, follows its size and takes every
// click and key. Lies over all that is in the parent at the time it is made.
class DimLayer : public CWidgetUI {
 public:
  explicit DimLayer(QWidget& covered);
  void PaintBkImage(QPainter& painter) override;
  void DoEvent(TEventUI& event) override;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;
};

// One sentence at the bottom of a page, with at most one action. Goes by itself
// after 5 seconds, with an action after 10; the time starts anew when the
// pointer or the focus leaves it. One at a time over a page: the next takes the
// place of the one before.
class Toast : public CWidgetUI {
 public:
  struct Contents {
    QString icon{};
    QString sentence{};
    QString action{};  // empty for none
    std::function<void()> onAction{};
    QString iconColor = QStringLiteral("on-dark");
  };
  static constexpr int kShownMs = 5000;
  static constexpr int kShownWithActionMs = 10000;

  // Owned by the page. Words or keys.
  static Toast* Show(QWidget& page, const Contents& contents);
  ~Toast() override;
  void Dismiss();
  // The timer that lets it go; 0 while the pointer or the focus keeps it.
  int ClockId() const { return clock.isActive() ? clock.timerId() : 0; }
  int LastsMs() const { return lasts; }

  void PaintBkImage(QPainter& painter) override;

 protected:
  bool event(QEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;
  void timerEvent(QTimerEvent* event) override;

 private:
  Toast(QWidget& page, const Contents& contents);
  void Build(const Contents& contents);
  void Place();
  void RunClock();

  QBasicTimer clock;
  int lasts = kShownMs;
};

enum class BubbleKind { Accent, Error, Dark };

// A short text that points at a control, below it or above it where there is
// more room, until it is dismissed or the control goes. Does not take the
// focus; told to assistive technology as an alert.
class Bubble : public CWidgetUI {
 public:
  // Owned by the window around `anchor`. Words or a key.
  static Bubble* Show(QWidget& anchor, const QString& words, BubbleKind kind, bool closable = false);
  void Dismiss();
  void SetWords(const QString& words);
  QString Words() const;
  void PaintBkImage(QPainter& painter) override;

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  Bubble(QWidget& target, BubbleKind bubbleKind, bool closable);
  void Place();

  QPointer<QWidget> anchor;
  CLabelUI* label = nullptr;
  BubbleKind kind;
  bool above = false;
  int arrowX = 0;
};
