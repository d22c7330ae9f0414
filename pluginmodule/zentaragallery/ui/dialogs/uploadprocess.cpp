#include "ui/dialogs/uploadprocess.h"

#include <QPainter>

#include "common/toolkit/label.h"
#include "common/toolkit/progress.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/theme.h"

namespace {

constexpr int kWidth = 360, kHeight = 88, kAboveBottom = 32, kCorner = 12;
constexpr int kDelayMs = 300;

}  // namespace

QString UploadProcess::TextKey(Kind kind) {
  static const char* const kKeys[] = {"IDS_GALLERT_LOADMOVE",      "IDS_GALLERT_LOADIMPORTDATA",
                                      "IDS_GALLERT_LOADIMPORT",    "IDS_GALLERT_LOADDELETE",
                                      "IDS_GALLERT_LOADRESTORING", "IDS_GALLERT_LOADDELETEAUBIUM"};
  return QString::fromLatin1(kKeys[kind]);
}

void UploadProcess::SetProgress(int kind, std::int64_t value) {
  if (kind < Move || kind > DeleteAlbum) return;
  if (auto* label = FindControl(QStringLiteral("process_text")))
    label->SetText(TextKey(static_cast<Kind>(kind)));
  Update(static_cast<std::size_t>(std::max<std::int64_t>(0, value)));
}

void UploadProcess::Begin(const QString& textKey, std::size_t expected) {
  total = expected;
  if (auto* label = FindControl(QStringLiteral("process_text"))) label->SetText(textKey);
  Update(0);
  delay.setSingleShot(true);
  disconnect(&delay, nullptr, this, nullptr);
  connect(&delay, &QTimer::timeout, this, [this] {
    show();
    raise();
  });
  delay.start(kDelayMs);
}

void UploadProcess::Update(std::size_t done) {
  if (auto* bar = Find<CProgressUI>(QStringLiteral("process_bar"))) {
    bar->setRange(0, total > 0 ? static_cast<int>(total) : 0);
    bar->SetValue(static_cast<int>(done));
  }
  auto* count = FindControl(QStringLiteral("process_count"));
  if (!count) return;
  const auto number = [](std::size_t value) {
    return CResourceManager::FormatNumber(static_cast<qint64>(value));
  };
  count->SetText(total > 0 ? number(done) + QStringLiteral(" / ") + number(total) : QString());
}

void UploadProcess::End() {
  delay.stop();
  hide();
}

void UploadProcess::PlaceOver(const QRect& area) {
  page = area;
  const int wide = Manager().Scale(kWidth), tall = Manager().Scale(kHeight);
  setGeometry((page.width() - wide) / 2, page.height() - tall - Manager().Scale(kAboveBottom), wide, tall);
}

void UploadProcess::Notify(TNotifyUI& message) {
  WindowImplBaseEx::Notify(message);
  if (message.sType == QStringLiteral("click") && onStop) onStop();
}

void UploadProcess::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Theme::Instance().Color(QStringLiteral("edge")));
  painter.setBrush(Theme::Instance().Color(QStringLiteral("raised")));
  const int round = Manager().Scale(kCorner);
  painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), round, round);
}
