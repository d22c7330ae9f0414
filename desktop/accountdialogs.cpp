#include "accountdialogs.h"

#include <QPointer>

#include "common/toolkit/button.h"
#include "common/toolkit/edit.h"
#include "common/toolkit/label.h"
#include "common/toolkit/list.h"
#include "common/toolkit/resourcemanager.h"
#include "ui/pagecontext.h"

void PasswordWnd::InitWindow() {
  WindowBusyBaseShadow::InitWindow();
  if (auto* first = FindControl(QStringLiteral("present"))) first->SetFocus();
}

QString PasswordWnd::TextOf(const char* name) const {
  const auto* control = FindControl(QString::fromLatin1(name));
  return control ? control->GetText() : QString();
}

void PasswordWnd::Wait(bool busy) {
  for (const char* name : {"present", "next", "again", "btn_ok"})
    if (auto* control = FindControl(QString::fromLatin1(name))) control->SetEnabled(!busy);
  if (auto* ring = FindControl(QStringLiteral("wait_ring"))) ring->SetVisible(busy);
}

void PasswordWnd::OnOk() {
  auto* words = FindControl(QStringLiteral("fail_words"));
  const QString next = TextOf("next");
  const char* refused = next.toUtf8().size() < kShortest ? "IDS_PASSWORD_SHORT"
                        : next != TextOf("again")        ? "IDS_PASSWORD_DIFFER"
                                                         : nullptr;
  if (words) words->SetText(QString::fromLatin1(refused ? refused : ""));
  if (refused) return;
  Wait(true);
  work.ChangePassword(TextOf("present").toStdString(), next.toStdString(),
                      [window = QPointer<PasswordWnd>(this)](const QString& error) {
                        if (!window) return;
                        if (error.isEmpty()) return window->Close(IDOK);
                        window->Wait(false);
                        if (auto* label = window->FindControl(QStringLiteral("fail_words")))
                          label->SetText(error);
                      });
}

void PasswordWnd::Notify(TNotifyUI& message) {
  WindowBusyBaseShadow::Notify(message);
  if (!message.pSender) return;
  if (message.sType == QStringLiteral("return")) return OnOk();
  if (message.sType != QStringLiteral("click")) return;
  message.pSender->GetName() == QStringLiteral("btn_ok") ? OnOk() : Close(IDCANCEL);
}

void DevicesWnd::InitWindow() {
  WindowBusyBaseShadow::InitWindow();
  if (auto* close = FindControl(QStringLiteral("btn_cancel"))) close->SetFocus();
  Load();
}

void DevicesWnd::Load() {
  work.ListDevices([window = QPointer<DevicesWnd>(this)](const QString& error,
                                                         const std::vector<Workspace::Device>& devices) {
    if (window) window->Show(error, devices);
  });
}

void DevicesWnd::Show(const QString& error, const std::vector<Workspace::Device>& devices) {
  if (auto* words = FindControl(QStringLiteral("fail_words"))) words->SetText(error);
  auto* list = Find<CListUI>(QStringLiteral("devices"));
  if (!list) return;
  list->RemoveAll();
  for (const auto& device : devices) {
    auto* row = new CListContainerElementUI;
    row->ApplyAttributeList(QStringLiteral("height=\"56\" childpadding=\"12\" childvalign=\"middle\""));
    auto* icon = new CLabelUI;
    icon->ApplyAttributeList(QStringLiteral("icon=\"computer\" iconsize=\"20\" width=\"20\""));
    row->Add(icon);
    auto* both = new CVerticalLayoutUI;
    auto* name = new CLabelUI;
    name->SetFont(QStringLiteral("strong"));
    name->SetText(device.current ? QStringLiteral("IDS_DEVICES_CURRENT")
                                 : QStringLiteral("IDS_DEVICES_ANOTHER"));
    both->Add(name);
    auto* used = new CLabelUI;
    used->ApplyAttributeList(QStringLiteral("font=\"small\" textcolor=\"text-2\""));
    used->SetText(Page::Fill(CResourceManager::GetText(QStringLiteral("IDS_DEVICES_USED")),
                             {CResourceManager::FormatDate(device.usedMs)}));
    both->Add(used);
    row->Add(both);
    if (!device.current) {
      auto* end = new CButtonUI;
      end->SetName(QStringLiteral("end_device"));
      end->ApplyAttributeList(QStringLiteral("style=\"plain\" height=\"32\""));
      end->SetText(QStringLiteral("IDS_DEVICES_END"));
      end->SetUserData(device.id);
      row->Add(end);
    }
    list->Add(row);
  }
}

void DevicesWnd::Notify(TNotifyUI& message) {
  WindowBusyBaseShadow::Notify(message);
  if (!message.pSender || message.sType != QStringLiteral("click")) return;
  if (message.pSender->GetName() != QStringLiteral("end_device")) return Close(IDCANCEL);
  message.pSender->SetEnabled(false);
  work.EndDevice(message.pSender->GetUserData().toString(),
                 [window = QPointer<DevicesWnd>(this)](const QString& error) {
                   if (!window) return;
                   error.isEmpty() ? window->Load() : window->Show(error, {});
                 });
}
