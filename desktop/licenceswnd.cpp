#include "licenceswnd.h"

#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

#include "common/toolkit/button.h"
#include "common/toolkit/label.h"
#include "common/toolkit/list.h"
#include "ui/pagecontext.h"

namespace {

QJsonArray Libraries() {
  QFile file(QStringLiteral(":/licences.json"));
  return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).array() : QJsonArray();
}

}  // namespace

void LicencesWnd::InitWindow() {
  WindowBusyBaseShadow::InitWindow();
  for (const QJsonValue& library : Libraries()) {
    const QString package = library[QLatin1String("package")].toString();
    const QString text = QStringLiteral("%1/%2/copyright").arg(documents, package);
    AddRow(library[QLatin1String("name")].toString(), library[QLatin1String("licence")].toString(),
           !package.isEmpty() && QFileInfo::exists(text) ? text : QString());
  }
  if (auto* close = FindControl(QStringLiteral("btn_cancel"))) close->SetFocus();
}

void LicencesWnd::AddRow(const QString& name, const QString& licence, const QString& text) {
  auto* list = Find<CListUI>(QStringLiteral("licences"));
  if (!list) return;
  auto* row = new CListContainerElementUI;
  row->ApplyAttributeList(QStringLiteral("height=\"48\" childpadding=\"12\" childvalign=\"middle\""));
  auto* both = new CVerticalLayoutUI;
  auto* title = new CLabelUI;
  title->SetFont(QStringLiteral("strong"));
  title->SetText(name);
  both->Add(title);
  auto* second = new CLabelUI;
  second->ApplyAttributeList(QStringLiteral("font=\"small\" textcolor=\"text-2\" elide=\"middle\""));
  second->SetText(text.isEmpty() ? licence : licence + QStringLiteral(" · ") + Page::LeftToRight(text));
  both->Add(second);
  row->Add(both);
  if (!text.isEmpty()) {
    auto* open = new CButtonUI;
    open->SetName(QStringLiteral("open_licence"));
    open->ApplyAttributeList(QStringLiteral(
        "style=\"icon\" icon=\"open\" iconsize=\"18\" iconcolor=\"text-2\" width=\"32\" height=\"32\""));
    open->SetToolTip(QStringLiteral("IDS_LICENCES_OPEN"));
    open->SetUserData(text);
    row->Add(open);
  }
  list->Add(row);
}

void LicencesWnd::Notify(TNotifyUI& message) {
  WindowBusyBaseShadow::Notify(message);
  if (!message.pSender || message.sType != QStringLiteral("click")) return;
  if (message.pSender->GetName() != QStringLiteral("open_licence")) return Close(IDCANCEL);
  (void)QDesktopServices::openUrl(QUrl::fromLocalFile(message.pSender->GetUserData().toString()));
}
