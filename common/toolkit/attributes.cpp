#include "common/toolkit/attributes.h"

#include <QHash>
#include <QRegularExpression>
#include <QStringList>

namespace toolkit {

QMargins ToMargins(const QString& text) {
  const QStringList parts = text.split(',');
  if (parts.size() != 4) return {};
  return {parts[0].toInt(), parts[1].toInt(), parts[2].toInt(), parts[3].toInt()};
}

QSize ToSize(const QString& text) {
  const QStringList parts = text.split(',');
  return {parts.first().toInt(), parts.last().toInt()};
}

bool ToBool(const QString& text) { return text == "true" || text == "1"; }

Qt::Alignment ToAlignment(const QString& text) {
  // Qt turns left and right round from right to left by itself.
  static const QHash<QString, Qt::Alignment> names{
      {"start", Qt::AlignLeft}, {"center", Qt::AlignHCenter}, {"end", Qt::AlignRight},
      {"top", Qt::AlignTop},    {"middle", Qt::AlignVCenter}, {"bottom", Qt::AlignBottom},
  };
  return names.value(text);
}

Qt::CursorShape ToCursor(const QString& text) {
  static const QHash<QString, Qt::CursorShape> names{
      {"hand", Qt::PointingHandCursor}, {"text", Qt::IBeamCursor}, {"wait", Qt::WaitCursor}};
  return names.value(text, Qt::ArrowCursor);
}

QList<QPair<QString, QString>> ToAttributes(const QString& list) {
  static const QRegularExpression pair(R"re(([\w-]+)\s*=\s*"([^"]*)")re");
  QList<QPair<QString, QString>> found;
  for (auto match = pair.globalMatch(list); match.hasNext();) {
    const auto next = match.next();
    found.append({next.captured(1), next.captured(2)});
  }
  return found;
}

}  // namespace toolkit
