#pragma once

#include <QProxyStyle>

// Draws the standard widgets as the design says, in the colours of the theme
// and at the scale of the window around them.
class GalleryStyle : public QProxyStyle {
 public:
  GalleryStyle();
};
