#include "ui/dialogs/albumtileui.h"

#include <QPainter>
#include <QStyleOptionFocusRect>

#include "common/toolkit/icons.h"
#include "common/toolkit/paintmanager.h"
#include "common/toolkit/resourcequeue.h"
#include "common/toolkit/theme.h"
#include "ui/fittedpicture.h"

namespace {

constexpr int kField = 96, kName = 24;

}  // namespace

AlbumTileUI::AlbumTileUI(std::function<QString()> cover, QString placeholderIcon, bool isAction)
    : coverPath(std::move(cover)), icon(std::move(placeholderIcon)), action(isAction) {
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  setAttribute(Qt::WA_Hover);
  setFocusPolicy(Qt::StrongFocus);
  setCheckable(!action);
  setAutoExclusive(true);
  SetFixedHeight(kField + kName);
  const auto tell = [this](const char* type) {
    if (GetManager()) GetManager()->SendNotify(this, QString::fromLatin1(type));
  };
  connect(this, &QAbstractButton::toggled, this, [tell](bool on) {
    if (on) tell("selectchanged");
  });
  if (action) connect(this, &QAbstractButton::clicked, this, [tell] { tell("click"); });
  connect(&ResourceQueue::GetInstance(), &ResourceQueue::ready, this, [this](const QString& path) {
    if (path == coverPath()) update();
  });
}

void AlbumTileUI::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
  const QRect field(0, 0, width(), Scaled(kField));
  const double wide = ScaledF(isChecked() ? 2 : 1);
  painter.setPen(isChecked() ? QPen(ColorOf(QStringLiteral("accent")), wide) : QPen(Qt::NoPen));
  painter.setBrush(ColorOf(isChecked()    ? QStringLiteral("tint")
                           : underMouse() ? QStringLiteral("nav")
                                          : QStringLiteral("panel")));
  painter.drawRoundedRect(QRectF(field).adjusted(wide / 2, wide / 2, -wide / 2, -wide / 2), Scaled(8),
                          Scaled(8));

  const QRect inner = field.adjusted(Scaled(8), Scaled(8), -Scaled(8), -Scaled(8));
  const QString path = coverPath();
  const QImage image = path.isEmpty() ? QImage() : ResourceQueue::GetInstance().Get(path, inner.size());
  if (image.isNull()) {
    const int side = Scaled(action ? 20 : 24);
    icons::Paint(painter, icon,
                 {field.center().x() - side / 2 + 1, field.center().y() - side / 2 + 1, side, side},
                 ColorOf(action ? QStringLiteral("link") : QStringLiteral("text-2")));
  } else {
    PaintFittedPicture(painter, image, inner, Scaled(4));
  }
  const QString style = isChecked() || action ? QStringLiteral("strong") : QStringLiteral("body");
  painter.setFont(Theme::Instance().Font(style, GetManager() ? GetManager()->GetScale() : 100));
  painter.setPen(ColorOf(action        ? QStringLiteral("link")
                         : isChecked() ? QStringLiteral("accent-text")
                                       : QStringLiteral("text")));
  const QRect name(0, field.bottom() + 1, width(), Scaled(kName));
  painter.drawText(name, Qt::AlignCenter,
                   painter.fontMetrics().elidedText(text(), Qt::ElideRight, name.width()));
  if (!hasFocus()) return;
  QStyleOptionFocusRect ring;
  ring.initFrom(this);
  ring.rect = field;
  this->style()->drawPrimitive(QStyle::PE_FrameFocusRect, &ring, &painter, this);
}
