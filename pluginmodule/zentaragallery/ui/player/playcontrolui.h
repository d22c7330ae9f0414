#pragma once

#include "common/toolkit/container.h"

// The bar below a film: "btnPlay", "sliderPlay", "labelPlayTime", "beishu" (speed),
// "btnVolume", "btnScreenFull". Element "PlayControl"; builds itself from its skin.
//
// The player attaches it (VideoPlayer::SetPlayState); a bar that is not attached shows
// the state of no film and its clicks do nothing.
class CPlayControlUI : public CVerticalLayoutUI {
 public:
  explicit CPlayControlUI(QWidget* parent = nullptr);
  QString GetClass() const override { return QStringLiteral("PlayControlUI"); }
};
