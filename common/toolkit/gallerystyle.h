#pragma once

#include <QProxyStyle>

// Draws the standard widgets as the design says, in the colours of the theme
// and at the scale of the window around them: buttons of all kinds, fields,
// check boxes, sliders, scroll bars, menus, tool tips, progress bars, and the
// ring around what the keyboard has reached.
class GalleryStyle : public QProxyStyle {
 public:
  GalleryStyle();

  void polish(QWidget* widget) override;
  void polish(QPalette& palette) override;
  using QProxyStyle::polish;
  void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                   const QWidget* widget) const override;
  void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;
  void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option, QPainter* painter,
                          const QWidget* widget) const override;
  QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option, SubControl part,
                       const QWidget* widget) const override;
  QRect subElementRect(SubElement element, const QStyleOption* option, const QWidget* widget) const override;
  QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                         const QWidget* widget) const override;
  int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* data) const override;
};
