#include "ui/viewer/picturefit.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kLargestScale = 2;      // of the picture's own pixels
constexpr double kLeastEnlargement = 4;  // of the fitted size

}  // namespace

QSize PictureFit::Box() const { return (window - 2 * margins).expandedTo({1, 1}); }

void PictureFit::SetWindow(QSize size, QSize free) {
  const double before = Scale();
  const QPointF middle = picture.isEmpty() ? QPointF() : offset / before;
  window = size;
  margins = free;
  offset = middle * Scale();
  Clamp();
}

void PictureFit::SetPicture(QSize size) {
  if (size == picture) return;
  const double widthBefore = picture.width() * Scale();
  const bool another = picture.isEmpty();
  picture = size;
  if (!another && IsZoomed() && !picture.isEmpty()) {
    const double scale = widthBefore / picture.width(), fit = FitScale(), most = LargestScale();
    zoom = std::clamp(kMaxZoom * std::log(scale / fit) / std::log(most / fit), 0.0, kMaxZoom);
  }
  Clamp();
}

void PictureFit::Reset() {
  zoom = 0;
  offset = {};
}

double PictureFit::FitScale() const {
  if (picture.isEmpty()) return 1;
  const QSize box = Box();
  return std::min({1.0, double(box.width()) / picture.width(), double(box.height()) / picture.height()});
}

double PictureFit::LargestScale() const { return std::max(kLargestScale, kLeastEnlargement * FitScale()); }

double PictureFit::Scale() const {
  const double fit = FitScale();
  return fit * std::pow(LargestScale() / fit, zoom / kMaxZoom);
}

double PictureFit::ActualZoom() const {
  const double fit = FitScale(), actual = fit < 1 ? 1 : 2;
  return kMaxZoom * std::log(actual / fit) / std::log(LargestScale() / fit);
}

void PictureFit::SetZoom(double value, QPointF at) {
  const double before = Scale();
  const QPointF from = at - Middle();
  zoom = std::clamp(value, 0.0, kMaxZoom);
  offset = from - (from - offset) * (Scale() / before);
  Clamp();
}

void PictureFit::MultiplyScale(double factor, QPointF at) {
  if (factor <= 0) return;
  SetZoom(zoom + kMaxZoom * std::log(factor) / std::log(LargestScale() / FitScale()), at);
}

bool PictureFit::CanPan() const {
  const QRect place = Place();
  return place.width() > window.width() || place.height() > window.height();
}

void PictureFit::Pan(QPointF by) {
  offset += by;
  Clamp();
}

// No edge of the picture comes inside the window while the picture is larger than it.
void PictureFit::Clamp() {
  const QSizeF size = QSizeF(picture) * Scale();
  const double x = std::max(0.0, (size.width() - window.width()) / 2);
  const double y = std::max(0.0, (size.height() - window.height()) / 2);
  offset = {std::clamp(offset.x(), -x, x), std::clamp(offset.y(), -y, y)};
}

QRect PictureFit::Place() const {
  const double scale = Scale();
  const QSize size =
      QSize(int(std::lround(picture.width() * scale)), int(std::lround(picture.height() * scale)))
          .expandedTo({1, 1});
  const QPointF corner = Middle() + offset - QPointF(size.width() / 2.0, size.height() / 2.0);
  return {corner.toPoint(), size};
}
