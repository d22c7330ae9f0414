#pragma once

#include <QImage>
#include <QPainter>
#include <functional>

// Paints an image as large as it fits into `place`, in its middle, with round corners.
// `over` paints on the picture's own rectangle, inside of the corners.
void PaintFittedPicture(QPainter& painter, const QImage& image, const QRect& place, int radius,
                        const std::function<void(const QRect& picture)>& over = {});
