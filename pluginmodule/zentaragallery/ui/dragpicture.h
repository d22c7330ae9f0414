#pragma once

#include <QPixmap>
#include <QString>

class CGalleryPictureUI;

// The mark of a drag of the page's own pictures; the selection says which.
inline const QString kPicturesMime = QStringLiteral("application/x-zentara-pictures");

// What hangs at the pointer: the cell's picture on a square, and how many are dragged.
QPixmap MakeDragPicture(const CGalleryPictureUI& cell, std::size_t count);
