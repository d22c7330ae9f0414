#pragma once

#include <QTextEdit>

#include "common/toolkit/windowimplbase.h"
#include "model/records/galleryfile.h"

class QScrollArea;
class QVBoxLayout;

// A text that can be selected and copied, with mouse and keyboard, on as many lines as
// it needs.
class SelectableText : public QTextEdit {
 public:
  SelectableText(const QString& text, QWidget* parent);

 protected:
  void resizeEvent(QResizeEvent* event) override;
};

// The details of the shown file: everything that its record knows. A pane at the end of
// the viewer or its full screen, which it is a child of and tells when it closes;
// deletes itself then. User-interface thread.
class PicAttributeWnd : public WindowImplBaseEx {
 public:
  static constexpr int kWidth = 280;

  explicit PicAttributeWnd(HWND owner);

  QString GetSkinFile() override { return QStringLiteral("Gallery/PicAttribute.xml"); }
  const char* GetWindowClassName() const override { return "PicAttributeWnd"; }
  void InitWindow() override;
  void OnFinalMessage() override;
  void Notify(TNotifyUI& message) override;
  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override;

  // Of the row with that label key; empty when there is none.
  QString ValueOf(const QString& labelKey) const;

 private:
  void ShowFile();
  void SetAttributeName();
  void SetAttributeType();
  void SetAttributeSize();
  void SetAttributeResolu();
  void SetTimes();
  void SetCamera(const class PictureMetadata& metadata);
  void SetExposure(const PictureMetadata& metadata);
  void SetPlaces(const PictureMetadata& metadata);
  void AddRow(const char* labelKey, const QString& value);

  const HWND ownerWnd;
  GalleryFile::Ptr file;
  QScrollArea* area = nullptr;
  QVBoxLayout* rows = nullptr;
};
