#pragma once

#include "ui/viewer/picturewindow.h"

class FullScreenRespondUI;

// The picture viewer: lies over the page, beside the album panel and below the tool
// bar. One at a time; GlobalData::viewerWnd is its handle. Made by the page, deletes
// itself when it is closed. User-interface thread.
class CDouClickThumUI : public PictureWindow {
 public:
  CDouClickThumUI();

  QString GetSkinFile() override { return QStringLiteral("Gallery/DouClickThum.xml"); }
  const char* GetWindowClassName() const override { return "CDouClickThum"; }
  void InitWindow() override;
  void OnFinalMessage() override;
  LRESULT HandleMessage(UINT uMsg, WPARAM wParam, LPARAM lParam, bool& handled) override;

  // The shots of a burst, from its cover on.
  void BurseCoverShow(const File& parent);
  // Out of the burst, or back to the grid.
  void BtnBack();
  FullScreenRespondUI* Full() const;
  // Of the full screen while it is open.
  const File& ShownNow() const;

 protected:
  bool IsFull() const override { return false; }
  int TopBar() const override { return 49; }
  void Leave() override;
  void ShowAttributesOn(bool on) override;
  void OnFollowed() override;
  void OnEmptied() override;
  void OnBurstGone() override;
  void ToggleFullScreen() override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  void CloseViewer();
  void FitAttributes();
  void ShowBar();
  void OnVideoEnded();
  void TakeFromFull(int degrees, const File& file);
};
