#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

class QPainter;

// The line icons of the skin, drawn in one colour at any size. User-interface
// thread only; rendered ones are kept.
namespace icons {

// Empty for an unknown name. `size` in real pixels. Those that show a direction
// are turned round from right to left.
QPixmap Pixmap(const QString& name, int size, const QColor& color, double pixelRatio = 1);
void Paint(QPainter& painter, const QString& name, const QRect& rect, const QColor& color,
           Qt::LayoutDirection direction = Qt::LeftToRight);
QIcon Icon(const QString& name, int size, const QColor& color);
bool Exists(const QString& name);

}  // namespace icons
