#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>

#include "common/toolkit/control.h"

// What one window shares: its controls by name, its notifications, filters,
// timers and scale. Belongs to a WindowImplBaseEx. User-interface thread only.
class CPaintManagerUI : public QObject {
 public:
  explicit CPaintManagerUI(QWidget& paintWindow);
  ~CPaintManagerUI() override;

  // The handle under which workers reach the window; null before Create.
  HWND GetPaintWindow() const { return handle; }
  QWidget& GetPaintWidget() const { return window; }
  CControlUI* GetRoot() const { return root; }
  // Null when there is none; does not look into windows inside this one.
  CControlUI* FindControl(const QString& name) const;
  CControlUI* FindControl(QPoint point) const;

  // The window itself is asked first, then the notifiers in order.
  void SendNotify(TNotifyUI& message);
  void SendNotify(CControlUI* sender, const QString& type, WPARAM wParam = 0, LPARAM lParam = 0,
                  const QString& detail = {});
  void AddNotifier(INotifyUI* notifier);
  void RemoveNotifier(INotifyUI* notifier);

  // A filter may take itself or another one away while it is called.
  void AddPreMessageFilter(IMessageFilterUI* filter);
  void RemovePreMessageFilter(IMessageFilterUI* filter);
  LRESULT FilterMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled);

  // Every `milliseconds` the control gets an event Timer with the id as its
  // wParam, and when it does not handle it the window a "timer". The same id
  // again starts anew. Timers of a control that is gone are gone.
  void SetTimer(CControlUI* control, std::uintptr_t id, int milliseconds);
  void KillTimer(CControlUI* control, std::uintptr_t id);
  void KillTimers(CControlUI* control);

  // Dots per inch; 96 is 100 %. Everything in the window is made anew.
  void SetDPI(int dpi);
  int GetDPI() const { return dpiValue; }
  int GetScale() const { return (dpiValue * 100 + 48) / 96; }
  // Real pixels of pixels at 100 %, rounded; and back.
  int Scale(int pixels) const;
  int RestoreScale(int pixels) const;
  QRect ScaleRect(const QRect& rect) const;
  QRect RestoreScaleRect(const QRect& rect) const;
  QSize ScaleSize(QSize size) const { return {Scale(size.width()), Scale(size.height())}; }

  void Invalidate() { window.update(); }
  // Makes everything anew that depends on scale, theme and language.
  void Restyle();

  // Of WindowImplBaseEx.
  void SetPaintWindow(HWND value) { handle = value; }
  void AttachRoot(CControlUI* control) { root = control; }

 protected:
  void timerEvent(QTimerEvent* event) override;

 private:
  struct Timer {
    QPointer<QWidget> widget;
    std::uintptr_t id;
  };

  QWidget& window;
  HWND handle = nullptr;
  CControlUI* root = nullptr;
  QList<INotifyUI*> notifiers;
  QList<IMessageFilterUI*> filters;
  QHash<int, Timer> timers;
  int dpiValue;
};
