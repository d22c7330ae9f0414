#pragma once

#include <QColor>

class QPainter;
class QRect;

namespace toolkit {

// `over` laid over `base` with that part of its strength.
QColor Mixed(const QColor& base, const QColor& over, double part);

// A line of that width inside the rounded rectangle.
void PaintEdge(QPainter& painter, const QRect& rect, double radius, double width, const QColor& color);

}  // namespace toolkit
