#include "ui/fittedpicture.h"

#include <QPainterPath>

#include "ui/view/gridgeometry.h"

void PaintFittedPicture(QPainter& painter, const QImage& image, const QRect& place, int radius,
                        const std::function<void(const QRect&)>& over) {
  const auto fit = GridGeometry::Fit(image.width(), image.height(), place.width(), place.height());
  const QRect picture(place.x() + fit.x, place.y() + fit.y, fit.width, fit.height);
  QPainterPath rounded;
  rounded.addRoundedRect(picture, radius, radius);
  painter.save();
  painter.setClipPath(rounded);
  painter.drawImage(picture, image);
  if (over) over(picture);
  painter.restore();
}
