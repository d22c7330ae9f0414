#pragma once

#include <QPointer>
#include <QTimer>

#include "ui/player/duimainwnd.h"
#include "ui/player/playcontrolui.h"
#include "ui/player/player.h"

// What stands behind VideoPlayer: the film that is shown, its windows and its bar.
//
//   none -> loading (VlcLoad is seen) -> playing <-> paused -> ended
//
// The windows belong to the window that shows the film; what closes takes them along.
// User-interface thread only.
class PlayerSession {
 public:
  static PlayerSession& GetInstance();

  void Play(QWidget* shownIn, const GalleryFile::Ptr& film, RECT place, CPlayControlUI* control);
  void Stop();
  bool HasPlayer() const;
  void DeleteLoadWnd();
  void MoveTo(RECT place);
  void SetBar(CPlayControlUI* control);
  // A bar that goes.
  void ForgetBar(const CPlayControlUI* control);
  bool HasBar(const CPlayControlUI* control) const { return control && bar == control; }

  // A click on "btnPlay".
  void TogglePlay();

  // --- Of the film's window

  void OnPlaying();
  void OnPosition();
  void OnWaiting(bool waits);
  void OnEnd();
  void OnError();

 private:
  PlayerSession();
  bool MakeWindows();
  void Show(CPlayControlUI::State next);
  void FollowBar();
  void Adopt(QWidget* window);
  void Arrange();
  void ShowError(const QString& textKey);
  void TellViewer(UINT message) const;

  QPointer<QWidget> owner;
  QPointer<CDuiMainWnd> window;
  QPointer<VlcLoad> load;
  QPointer<VLCErrorWnd> error;
  QString placeName;  // of the owner, which the same place of another window has, too
  CPlayControlUI* bar = nullptr;
  CPlayControlUI::State state = CPlayControlUI::State::None;
  GalleryFile::Ptr file;
  RECT rect;
  QTimer stall;
};
