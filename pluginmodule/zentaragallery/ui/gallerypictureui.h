#pragma once

#include <QImage>
#include <QPointer>
#include <QString>

#include "common/toolkit/motion.h"
#include "common/toolkit/paintmanager.h"
#include "common/toolkit/tcontrol.h"
#include "model/records/galleryfile.h"

class CFileInfoCellBase;

// One picture of the grid: paints a thumbnail with its marks and its selection, and
// turns the mouse into calls of the selection.
//
// A cell shows whatever file it is bound to; it asks nobody for a file. As a filter of
// the window's messages it hears of each thumbnail that arrives and takes those of its
// own file. User-interface thread.
class CGalleryPictureUI : public CWidgetUI, public IMessageFilterUI {
 public:
  explicit CGalleryPictureUI(CFileInfoCellBase& row);
  ~CGalleryPictureUI() override;

  QString GetClass() const override { return QStringLiteral("GalleryPictureUI"); }
  void DoInit() override;
  void DoEvent(TEventUI& event) override;
  LRESULT MessageHandler(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override;
  void PaintBkImage(QPainter& painter) override;

  // Null unbinds.
  void Bind(const GalleryFile::Ptr& next);
  const GalleryFile::Ptr& File() const { return file; }
  // The file's thumbnail, or empty for the placeholder.
  void SetThumbPath(const QString& path);
  const QString& ThumbPath() const { return thumbPath; }
  // The size in which a picture is painted here at most, to be decoded to.
  QSize PictureSize() const;
  // Where the picture was last painted.
  QRect HitRect() const { return hit; }
  // Where a button last went down in it.
  QPoint PressedAt() const { return downAt; }
  // The picture's rectangle and its frame; without a picture the whole control.
  QRect PictureRect(const QImage& image) const;
  CFileInfoCellBase& Row() const { return row; }
  // What assistive technology says: name, date, kind, state.
  QString AccessibleText() const;
  // What a click of the mouse on the picture does.
  void Press();

 protected:
  bool event(QEvent* event) override;

 private:
  void PaintArriving(QPainter& painter, const QRect& place);
  void PaintPlaceholder(QPainter& painter);
  void PaintPicture(QPainter& painter, const QImage& image);
  void PaintCorners(QPainter& painter, const QRect& picture);
  bool HasMarks() const;
  void PaintMarks(QPainter& painter);
  void PaintFrame(QPainter& painter, const QRect& frame);
  void PaintTick(QPainter& painter);
  void PaintFocus(QPainter& painter, const QRect& frame);
  void TakeThumbPath();
  void OnLeftDown(TEventUI& event);
  void OnRightDown(const TEventUI& event);
  void OnLeftUp();
  void OnMove(const TEventUI& event);
  void StartDrag();
  void TellToolbar();
  void ClearByBlank();
  void Redraw();

  CFileInfoCellBase& row;
  QPointer<CPaintManagerUI> filtered;  // a row that goes has left its window before
  GalleryFile::Ptr file;
  QString thumbPath;
  QRect hit;
  bool waits = false;  // the placeholder was painted last
  toolkit::motion::Arrival arrival;
  QPoint downAt;
  bool pressed = false;
  bool dragging = false;
};
