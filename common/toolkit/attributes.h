#pragma once

#include <QtCore/qnamespace.h>
#include <QList>
#include <QMargins>
#include <QPair>
#include <QSize>
#include <QString>

// Values of skin attributes. What cannot be read is 0, false or none.
namespace toolkit {

QMargins ToMargins(const QString& text);         // "l,t,r,b"
QSize ToSize(const QString& text);               // "15,15", or "15" for both
bool ToBool(const QString& text);                // "true" or "1"
Qt::Alignment ToAlignment(const QString& text);  // start, center, end, top, middle, bottom
Qt::CursorShape ToCursor(const QString& text);   // hand, text, wait, arrow
// The pairs of `name="x" bkcolor="page"`, in order.
QList<QPair<QString, QString>> ToAttributes(const QString& list);

}  // namespace toolkit
