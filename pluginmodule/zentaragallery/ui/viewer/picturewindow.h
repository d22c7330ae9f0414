#pragma once

#include <QPointer>

#include "common/toolkit/button.h"
#include "common/toolkit/container.h"
#include "common/toolkit/label.h"
#include "common/toolkit/windowimplbase.h"
#include "model/records/galleryfile.h"
#include "ui/viewer/burststripui.h"
#include "ui/viewer/douthumlcdui.h"
#include "ui/viewer/gifbuttonui.h"
#include "ui/viewer/pccircleprogressui.h"
#include "ui/viewer/picattributewnd.h"

class CPlayControlUI;

// What the viewer and its full screen have in common: one file of the current album, or
// one shot of a burst, with the ways to the next one. User-interface thread.
class PictureWindow : public WindowImplBaseEx {
 public:
  using File = GalleryFile::Ptr;

  void InitWindow() override;
  void OnFinalMessage() override;
  void Notify(TNotifyUI& message) override;
  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override;
  bool OnKey(TEventUI& event) override;
  CControlUI* CreateControl(const QString& element) override;

  // Shows `file`, which is of the list that is walked through.
  void SetPicObject(const File& file);
  const File& Shown() const { return shown; }
  // A delta above 0 is the picture before.
  void CalMouseWheelIndex(int delta);
  // Everything anew after another file is shown. `reloadThumb`: it is another one, or
  // begins anew; a film's load window goes.
  void FollowWinChange(bool reloadThumb);
  // Index of the shown file, or -1.
  int GetPicLeftaddrightNum() const;
  // The file behind that index, or null.
  File GetPicObject(int index) const;
  void BtnRotate();
  void PicAttributeShowToCanle();  // favourite or not
  void CreateAttributeWnd();       // opens or closes the details
  // Plays the film that is shown, in place of the still.
  void vlcPaly();
  // What is in the window besides the still moves with it.
  void VLCWndOnSize();

  bool IsBurst() const;
  CDouThumLCDUI* Lcd() const { return lcd; }
  CGifButtonUI* Gif() const { return gif; }
  // The details; null while they are not open.
  PicAttributeWnd* Attributes() const;
  // Where the details lie in it.
  QRect AttributeRect() const;
  bool IsLoading() const { return ring && ring->IsVisible(); }

 protected:
  virtual bool IsFull() const = 0;
  // Height of the bar above the picture, below which the details begin; unscaled.
  virtual int TopBar() const = 0;
  // Back, or out of the full screen.
  virtual void Leave() = 0;
  virtual void ShowFavorite(bool on);
  virtual void ShowAttributesOn(bool on);
  // Everything but the picture follows.
  virtual void OnFollowed() {}
  virtual void OnEmptied() = 0;
  // After the shown shot of a burst, or its cover, is gone.
  virtual void OnBurstGone() = 0;
  virtual void ToggleFullScreen() = 0;

  // Arrows stay away while the bars do.
  virtual bool ShowsArrows() const { return true; }
  void ShowArrows();
  void ShowButton(const QString& name, bool on);
  void ShowBottomBar(bool on);
  CPlayControlUI* PlayBar() const;
  CControlUI* Stage() const { return FindControl(QStringLiteral("ConWidth")); }
  void ShowFile(const File& file);
  void EnterBurst(const File& parent);
  void CalDeleteAddMoveUpdata();
  void PostZoomSlider(double value);
  bool IsShown(WPARAM word) const { return word == reinterpret_cast<WPARAM>(shown.get()); }
  bool eventFilter(QObject* watched, QEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;

  static void LogOperation(const char* key, const std::map<std::string, std::string>& values = {});

 private:
  void FindControls();
  void OnClick(const QString& name);
  void OnLcdMessage(UINT message);
  void ShowProgress(int percent);
  void HideProgress();
  void ShowTitle();
  void ShowStill();
  void RememberPlace();
  void FollowPicture();
  void DecodeAhead();
  void OnWheel(int delta);
  void OnWheelAcross(int delta);
  bool MovesPicture(const TEventUI& event, int towardsNext);
  void ShowAt(int index);
  void TakeFavorite(bool on);
  void FollowFavorite();
  void SetFavorite(const GalleryFile::Ptr& file, bool on);
  void SayFavorite(bool on);
  void WriteFavorite();
  void OnFavoriteWritten(WPARAM word, bool on);
  void PlaceAttributes();

  File shown;
  CDouThumLCDUI* lcd = nullptr;
  CGifButtonUI* gif = nullptr;
  PCCircleProgressUI* ring = nullptr;
  BurstStripUI* strip = nullptr;
  QPointer<PicAttributeWnd> attributes;
  bool favoriteFlag = false;  // as the button shows it; the record follows
  File favoriteWritten;       // while a worker does
  int shownIndex = 0;         // where the shown file was in the list, when it goes
  int wheelRest = 0;
  int direction = 1;
};
