#include "ui/dialogs/uploadexceptionwnd.h"

#include <algorithm>

#include "common/toolkit/label.h"
#include "common/toolkit/list.h"
#include "common/toolkit/resourcemanager.h"
#include "ui/pagecontext.h"

namespace {

constexpr int kRowHeight = 48;
constexpr int kMostRows = 8;
// A list of more is read by nobody; the count tells of the rest.
constexpr std::size_t kMostLines = 1000;

}  // namespace

void UploadExceptionWnd::InitWindow() {
  if (auto* label = FindControl(QStringLiteral("albumName"))) {
    label->SetText(albumName);
    label->SetVisible(!albumName.isEmpty());
  }
  auto* list = Find<CListUI>(QStringLiteral("listview"));
  if (list) {
    for (std::size_t i = 0; i < std::min(lines.size(), kMostLines); ++i) {
      auto* row = new CListContainerElementUI;
      row->SetFixedHeight(kRowHeight);
      row->SetChildPadding(12);
      auto* icon = new CLabelUI;
      icon->SetIcon(QStringLiteral("error"), 18, QStringLiteral("danger-text"));
      icon->SetFixedWidth(18);
      row->Add(icon);
      auto* words = new CVerticalLayoutUI;
      auto* name = new CLabelUI;
      name->SetText(lines[i].name);
      name->SetAttribute(QStringLiteral("elide"), QStringLiteral("middle"));
      words->Add(name);
      auto* reason = new CLabelUI;
      reason->SetText(lines[i].reason);
      reason->SetFont(QStringLiteral("small"));
      reason->SetTextColor(QStringLiteral("text-2"));
      words->Add(reason);
      row->Add(words);
      list->Add(row);
    }
    list->SetFixedHeight(kRowHeight * std::clamp(static_cast<int>(lines.size()), 1, kMostRows));
  }
  if (auto* title = FindControl(QStringLiteral("title")))
    title->SetText(CResourceManager::GetPluralText(titleKey, static_cast<qint64>(lines.size())));
  WindowBusyBaseShadow::InitWindow();
  if (auto* close = FindControl(QStringLiteral("btn_cancel"))) close->SetFocus();
}

void UploadExceptionWnd::Notify(TNotifyUI& message) {
  WindowBusyBaseShadow::Notify(message);
  if (message.sType == QStringLiteral("click")) Close(IDCANCEL);
}
