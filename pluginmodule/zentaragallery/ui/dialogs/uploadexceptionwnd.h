#pragma once

#include <vector>

#include "common/duilib_business/windowbusybaseshadow.h"

// The files that were not taken, each with its reason, "CUploadExceptionWnd".
class UploadExceptionWnd : public WindowBusyBaseShadow {
 public:
  struct Line {
    QString name;
    QString reason;  // a text key, or words
  };
  UploadExceptionWnd(QString album, std::vector<Line> refused)
      : albumName(std::move(album)), lines(std::move(refused)) {}

  QString GetSkinFile() override { return QStringLiteral("Gallery/UploadException/UploadExceptionWnd.xml"); }
  const char* GetWindowClassName() const override { return "CUploadExceptionWnd"; }
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;

 private:
  const QString albumName;
  const std::vector<Line> lines;
};
