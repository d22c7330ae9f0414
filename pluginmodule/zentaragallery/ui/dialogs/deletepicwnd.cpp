#include "ui/dialogs/deletepicwnd.h"

#include <QTextBoundaryFinder>

#include "common/toolkit/resourcemanager.h"
#include "ui/pagecontext.h"
#include "ui/view/pageflags.h"
#include "utils/gallerylog.h"
#include "utils/messages.h"

namespace {

constexpr int kLongWord = 24;

// A word that is longer than a line may break anywhere: a name without a blank would
// widen the window.
QString Breakable(const QString& text) {
  static const QStringList kWhole{QStringLiteral("zh-CN"), QStringLiteral("en-GB"), QStringLiteral("en-US"),
                                  QStringLiteral("th-TH")};
  if (kWhole.contains(CResourceManager::Language())) return text;
  QString broken;
  QTextBoundaryFinder characters(QTextBoundaryFinder::Grapheme, text);
  qsizetype start = 0, run = 0;
  for (qsizetype end = characters.toNextBoundary(); end > 0; end = characters.toNextBoundary()) {
    run = text[start].isSpace() ? 0 : run + 1;
    broken += text.mid(start, end - start);
    if (run > 0 && run % kLongWord == 0) broken += QChar(0x200b);
    start = end;
  }
  return broken;
}

}  // namespace

DeletePicWnd::DeletePicWnd(Kind of, std::size_t files, bool forGood, QString album)
    : kind(of), count(files), hard(forGood), name(std::move(album)) {}

DeletePicWnd::Words DeletePicWnd::KeysOf() const {
  const auto words = [](const char* middle, const char* button) {
    const QString key = QStringLiteral("IDS_GALLERY_") + QString::fromLatin1(middle);
    return Words{key + QStringLiteral("_WNDTITLE"), key + QStringLiteral("_WNDCONTENT"),
                 QString::fromLatin1(button)};
  };
  constexpr char kDelete[] = "IDS_GALLERT_BTN_DELETE";
  if (kind == Kind::ClearBin) return words("HARDCLREAN", "IDS_GALLERT_Transfer_Clear");
  if (kind == Kind::Album) return words("DELETEALBUM", kDelete);
  if (hard) return words(count == 1 ? "HARDDELETEONE" : "HARDDELETEMULTIPLE", kDelete);
  return words(count == 1 ? "DELETEONE" : "DELETEMULTIPLE", kDelete);
}

void DeletePicWnd::InitWindow() {
  WindowBusyBaseShadow::InitWindow();
  const Words keys = KeysOf();
  const QString number = CResourceManager::FormatNumber(static_cast<qint64>(count));
  const auto filled = [&](const QString& key) {
    return Page::Fill(CResourceManager::GetText(key), {kind == Kind::Album ? name : number});
  };
  if (auto* label = FindControl(QStringLiteral("title"))) label->SetText(filled(keys.title));
  if (auto* label = FindControl(QStringLiteral("content"))) label->SetText(Breakable(filled(keys.content)));
  if (auto* button = FindControl(QStringLiteral("btn_ok"))) button->SetText(keys.button);
  // What cannot be taken back is not the first thing that Return does.
  const bool forGood = hard || kind != Kind::Files;
  if (auto* first = FindControl(forGood ? QStringLiteral("btn_cancel") : QStringLiteral("btn_ok")))
    first->SetFocus();
}

void DeletePicWnd::Accept() {
  LogInfo("DeletePicWnd", "DeletePicWnd ok");
  Close(IDOK);
  (void)platform::PostMessageW(GlobalData::viewerWnd, WM_GALLERY_FOCUS_BACK, 0, 0);
}

bool DeletePicWnd::OnHotKey(const TEventUI& event) {
  const bool enter = event.key == Qt::Key_Return || event.key == Qt::Key_Enter;
  if (event.Type != EventType::KeyDown || !enter) return false;
  // On a button that loses nothing Return is for that button.
  for (const char* name : {"btn_cancel", "btn_close"}) {
    const auto* button = FindControl(QString::fromLatin1(name));
    if (!button || !button->IsFocused()) continue;
    Close(IDCANCEL);
    return true;
  }
  Accept();
  return true;
}

bool DeletePicWnd::OnKey(TEventUI& event) { return OnHotKey(event) || WindowBusyBaseShadow::OnKey(event); }

void DeletePicWnd::Notify(TNotifyUI& message) {
  WindowBusyBaseShadow::Notify(message);
  if (message.sType != QStringLiteral("click") || !message.pSender) return;
  if (message.pSender->GetName() == QStringLiteral("btn_ok")) return Accept();
  Close(IDCANCEL);
  (void)platform::PostMessageW(GlobalData::viewerWnd, WM_GALLERY_FOCUS_BACK, 0, 0);
}
