#pragma once

#include <QSize>

class QPainter;
class QStyleOptionButton;
class QWidget;

// How buttons of all kinds look; a part of GalleryStyle.
namespace buttonpainter {

void Paint(QPainter& painter, const QStyleOptionButton& option, const QWidget* widget);
// As large as icon and words want it.
QSize Size(const QStyleOptionButton& option, const QWidget* widget);

}  // namespace buttonpainter
