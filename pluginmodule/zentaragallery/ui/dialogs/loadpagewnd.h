#pragma once

#include <QTimer>

#include "common/toolkit/windowimplbase.h"

// Lies over the rows while an album is being laid out; shows itself only when that
// takes a moment.
class LoadPageWnd : public WindowImplBaseEx {
 public:
  LoadPageWnd() { setAttribute(Qt::WA_DeleteOnClose); }
  QString GetSkinFile() override { return QStringLiteral("Gallery/LoadPageWnd.xml"); }
  const char* GetWindowClassName() const override { return "pLoadPageWnd"; }
  void ShowAfter(int milliseconds) {
    hide();
    QTimer::singleShot(milliseconds, this, [this] {
      show();
      raise();
    });
  }
};
