#include "common/toolkit/menu.h"

#include <QCoreApplication>
#include <QEvent>
#include <QFile>
#include <QPointer>
#include <QXmlStreamReader>

#include "common/toolkit/attributes.h"
#include "common/toolkit/icons.h"
#include "common/toolkit/paintmanager.h"
#include "common/toolkit/resourcemanager.h"
#include "common/toolkit/theme.h"

using namespace toolkit;

CMenuWnd::CMenuWnd(CPaintManagerUI& window, CControlUI* sender)
    : QMenu(&window.GetPaintWidget()), manager(window), senderWidget(sender ? sender->Widget() : nullptr) {
  setFont(Theme::Instance().Font("body", manager.GetScale()));
}

bool CMenuWnd::Load(const QString& skinFile) {
  QFile file(":/skin/" + skinFile);
  if (!file.open(QIODevice::ReadOnly)) {
    qWarning("Skin: cannot read %s", qUtf8Printable(skinFile));
    return false;
  }
  QXmlStreamReader xml(&file);
  while (!xml.atEnd()) {
    if (xml.readNext() != QXmlStreamReader::StartElement) continue;
    if (xml.name() == QLatin1String("MenuElement")) AddItem(xml.attributes());
    if (xml.name() == QLatin1String("Separator")) addSeparator();
  }
  if (xml.hasError()) qWarning("Skin: %s: %s", qUtf8Printable(skinFile), qUtf8Printable(xml.errorString()));
  return !xml.hasError();
}

void CMenuWnd::AddItem(const QXmlStreamAttributes& attributes) {
  const QString name = attributes.value("name").toString();
  QAction* const item =
      addAction(CResourceManager::GetText(attributes.value("text").toString()).replace('&', "&&"));
  item->setObjectName(name);
  const bool danger = ToBool(attributes.value("danger").toString());
  item->setProperty("danger", danger);
  const QString icon = attributes.value("icon").toString();
  const QColor color = Theme::Instance().Color(danger ? "danger-text" : "text");
  if (!icon.isEmpty()) item->setIcon(icons::Icon(icon, manager.Scale(18), color));
  if (attributes.hasAttribute("enabled")) item->setEnabled(ToBool(attributes.value("enabled").toString()));
  if (attributes.hasAttribute("visible")) item->setVisible(ToBool(attributes.value("visible").toString()));
  if (attributes.hasAttribute("checked")) {
    item->setCheckable(true);
    item->setChecked(ToBool(attributes.value("checked").toString()));
  }
  connect(item, &QAction::triggered, this,
          [this, name] { manager.SendNotify(CControlUI::Of(senderWidget), "menuclick", 0, 0, name); });
}

QAction* CMenuWnd::FindItem(const QString& name) const { return findChild<QAction*>(name); }

CMenuWnd* CMenuWnd::Show(const QString& skinFile, CPaintManagerUI& window, CControlUI* sender,
                         QPoint screen) {
  const auto menu = new CMenuWnd(window, sender);
  if (!menu->Load(skinFile)) {
    delete menu;
    return nullptr;
  }
  menu->setAttribute(Qt::WA_DeleteOnClose);
  // While the menu was there the pointer left what it was over, and nobody heard of it.
  const QPointer<QWidget> under = sender ? sender->Widget() : nullptr;
  connect(menu, &QObject::destroyed, qApp, [under] {
    if (!under || under->rect().contains(under->mapFromGlobal(QCursor::pos()))) return;
    QEvent left(QEvent::Leave);
    under->setAttribute(Qt::WA_UnderMouse, false);
    QCoreApplication::sendEvent(under, &left);
    under->update();
  });
  menu->popup(screen);
  return menu;
}
