#pragma once

#include <QTimer>
#include <functional>

#include "common/toolkit/windowimplbase.h"

// The line at the bottom of the page that tells how far a batch is, with a stop.
class UploadProcess : public WindowImplBaseEx {
 public:
  // Kinds of WM_GALLERY_UPLOAD_PROGRESS.
  enum Kind { Move = 0, ImportData = 1, Import = 2, Delete = 3, Restore = 4, DeleteAlbum = 5 };

  QString GetSkinFile() override { return QStringLiteral("Gallery/UploadProcess/UploadProcessWnd.xml"); }
  const char* GetWindowClassName() const override { return "pUploadProcessWnd"; }
  void Notify(TNotifyUI& message) override;

  static QString TextKey(Kind kind);
  // The text of a kind with its count.
  void SetProgress(int kind, std::int64_t value);
  // Shows itself after a moment; `total` 0 is not known.
  void Begin(const QString& textKey, std::size_t total);
  void Update(std::size_t done);
  void End();
  void PlaceOver(const QRect& page);

  std::function<void()> onStop;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QTimer delay;
  QRect page;
  std::size_t total = 0;
};
