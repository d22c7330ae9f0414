#pragma once

#include <vector>

#include "common/toolkit/container.h"
#include "common/toolkit/tcontrol.h"

class FrameWindow;

// The newest pictures in a grid that is as wide as the page.
class HomeGridUI : public CWidgetUI {
 public:
  struct Item {
    QString path;
    bool isVideo = false, isBurst = false;
  };
  HomeGridUI();
  void SetItems(std::vector<Item> next);
  void PaintBkImage(QPainter& painter) override;

 private:
  std::vector<Item> items;
};

// The host's first page: what the cloud, the disk and the transfers do, and the newest
// pictures.
// A card of which all opens what it speaks of.
class HomeCardUI : public CVerticalLayoutUI {
 public:
  void DoEvent(TEventUI& event) override;
};

class HomePage : public CVerticalLayoutUI {
 public:
  explicit HomePage(FrameWindow& of) : frame(of) {}
  void DoInit() override;
  void Reload();
  void OnNotify(TNotifyUI& message);

 private:
  struct Figures {
    bool trouble = false;  // the last cycle of the sync failed
    qint64 freeBytes = 0, totalBytes = 0;
  };
  void ShowFigures(const Figures& figures, bool hasCloud);
  QString ItemsText() const;
  void Say(const char* name, const QString& words);

  FrameWindow& frame;
  HomeGridUI* grid = nullptr;
};
