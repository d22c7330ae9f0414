#pragma once

#include <QMenu>
#include <QPointer>
#include <QString>

#include "common/toolkit/types.h"

class CPaintManagerUI;
class QXmlStreamAttributes;

// A menu from a skin, shown as a QMenu:
// <Menu><MenuElement name="DownloadPic" text="IDS_..." icon="download"/>
// <Separator/></Menu>, with attributes enabled, visible, checked, danger.
//
// The choice comes back to the window as "menuclick" with the item's name as
// detail and the control it was opened for as the sender.
class CMenuWnd : public QMenu {
 public:
  CMenuWnd(CPaintManagerUI& window, CControlUI* sender);

  // False when the file is missing or damaged.
  bool Load(const QString& skinFile);
  QAction* FindItem(const QString& name) const;

  // Shows the menu at the point of the screen, returns at once and deletes
  // itself after the choice. Null when the file cannot be read; the items may
  // still be changed before the event loop runs again.
  static CMenuWnd* Show(const QString& skinFile, CPaintManagerUI& window, CControlUI* sender, QPoint screen);

 private:
  void AddItem(const QXmlStreamAttributes& attributes);

  CPaintManagerUI& manager;
  QPointer<QWidget> senderWidget;
};
