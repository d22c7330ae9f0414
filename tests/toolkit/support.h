#pragma once

#include <QTest>
#include <QXmlStreamReader>
#include <functional>
#include <ostream>

#include "common/toolkit/windowimplbase.h"

// Readable failures.
inline void PrintTo(const QString& text, std::ostream* out) { *out << '"' << text.toStdString() << '"'; }
inline void PrintTo(const QRect& r, std::ostream* out) {
  *out << r.x() << ',' << r.y() << ' ' << r.width() << 'x' << r.height();
}
inline void PrintTo(const QSize& size, std::ostream* out) { *out << size.width() << 'x' << size.height(); }
inline void PrintTo(const QPoint& point, std::ostream* out) { *out << point.x() << ',' << point.y(); }
inline void PrintTo(const QColor& color, std::ostream* out) {
  *out << color.name(QColor::HexArgb).toStdString();
}

// A window made from a skin that the test gives as words, which remembers its
// notifications.
class SkinWindow : public WindowImplBaseEx {
 public:
  explicit SkinWindow(const QByteArray& xml, QRect rect = {0, 0, 400, 300},
                      WindowStyle style = WindowStyle::Frame, QWidget* parent = nullptr)
      : skin(xml) {
    Create(parent, "test", style, rect);
    show();
  }

  CControlUI* BuildRoot() override { return CDialogBuilder().CreateFromText(skin, this, this); }

  void Notify(TNotifyUI& message) override {
    told.append(message.sType);
    last = message;
  }

  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override {
    messages.append(uMsg);
    words.append(wParam);
    if (onMessage) onMessage(uMsg, wParam, lParam);
    return WindowImplBaseEx::HandleMessage(uMsg, wParam, lParam, handled);
  }

  void OnFinalMessage() override { ++finals; }

  int Count(const QString& type) const { return static_cast<int>(told.count(type)); }

  QByteArray skin;
  QStringList told;
  TNotifyUI last;
  QList<UINT> messages;
  QList<WPARAM> words;
  std::function<void(UINT, WPARAM, LPARAM)> onMessage;
  int finals = 0;
};

// Runs the event loop until the condition holds; false when it never does.
inline bool WaitUntil(const std::function<bool()>& holds) { return QTest::qWaitFor(holds, 20000); }
