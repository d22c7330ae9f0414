#pragma once

#include <QAbstractButton>
#include <functional>

#include "common/toolkit/tcontrol.h"

// A choice with a picture over its name: an album of a dialog that has few of them, or,
// without a picture, what makes a new one. Sends "selectchanged" when it becomes the
// chosen one of its parent's; one that is an action sends "click" and is never chosen.
class AlbumTileUI : public TControl<QAbstractButton> {
 public:
  // `cover` is asked at each painting for a file; no disk in it.
  AlbumTileUI(std::function<QString()> cover, QString placeholderIcon, bool isAction = false);
  QString GetClass() const override { return QStringLiteral("AlbumTileUI"); }

 protected:
  void ShowText(const QString& shown) override { setText(shown); }
  void paintEvent(QPaintEvent* event) override;

 private:
  const std::function<QString()> coverPath;
  const QString icon;
  const bool action;
};
