#pragma once

#include <vector>

#include "common/duilib_business/windowbusybaseshadow.h"

// The files that were not taken, or left as they were, each with its reason, "CUploadExceptionWnd".
class UploadExceptionWnd : public WindowBusyBaseShadow {
 public:
  struct Line {
    QString name;
    QString reason;  // a text key, or words
  };
  // `title` is a key with plural forms, `album` empty for none.
  UploadExceptionWnd(QString title, QString album, std::vector<Line> refused)
      : titleKey(std::move(title)), albumName(std::move(album)), lines(std::move(refused)) {}

  QString GetSkinFile() override { return QStringLiteral("Gallery/UploadException/UploadExceptionWnd.xml"); }
  const char* GetWindowClassName() const override { return "CUploadExceptionWnd"; }
  void InitWindow() override;
  void Notify(TNotifyUI& message) override;

 private:
  const QString titleKey, albumName;
  const std::vector<Line> lines;
};
