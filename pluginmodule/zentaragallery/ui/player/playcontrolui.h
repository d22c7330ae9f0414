#pragma once

#include <QPointer>

#include "common/toolkit/button.h"
#include "common/toolkit/container.h"
#include "common/toolkit/label.h"
#include "common/toolkit/slider.h"
#include "common/toolkit/windowimplbase.h"

// The bar below a film: "btnPlay", "sliderPlay", "labelPlayTime", "beishu" (speed),
// "btnVolume", "btnScreenFull". Element "PlayControl"; builds itself from its skin.
//
// The player attaches it (VideoPlayer::SetPlayState); a bar that is not attached shows
// the state of no film and its clicks do nothing but ask for full screen.
class CPlayControlUI : public CVerticalLayoutUI {
 public:
  enum class State { None, Loading, Playing, Paused, Ended };
  // Steps of "sliderPlay".
  static constexpr int kSteps = 10000;

  explicit CPlayControlUI(QWidget* parent = nullptr);
  ~CPlayControlUI() override;
  QString GetClass() const override { return QStringLiteral("PlayControlUI"); }
  void DoInit() override;
  void Restyle() override;

  // What a click on "btnPlay" does: pauses, goes on, or starts an ended film again.
  void TogglePlay();

  // --- Of the player

  void ShowState(State shown);
  State Shown() const { return state; }
  // A person who drags the knob keeps it.
  void ShowPosition(float fraction, std::int64_t timeMs, std::int64_t lengthMs);
  void ShowRate(float rate);
  void ShowSound();
  // The window of the volume above its button; null when that has closed.
  void ShowVolumeOpen(WindowImplBaseEx* window);
  // "00:00:18/00:00:47" in the language's digits.
  static QString TimeText(std::int64_t timeMs, std::int64_t lengthMs);
  // "1.0X"
  static QString RateText(float rate);

 private:
  void ShowPlace();
  void OnSlider(int value);
  void OnVolume();
  void OnScreenFull();
  void OnRate();
  bool IsOfFullScreen() const;

  State state = State::None;
  CButtonUI* play = nullptr;
  CSliderUI* slider = nullptr;
  CLabelUI* time = nullptr;
  CButtonUI* rateButton = nullptr;
  CButtonUI* volume = nullptr;
  CButtonUI* screenFull = nullptr;
  QPointer<WindowImplBaseEx> volumeWindow;
  float fraction = 0, rate = 1;
  std::int64_t timeMs = 0, lengthMs = 0;
};
