#pragma once

#include <functional>
#include <string>
#include <vector>

#include "common/toolkit/container.h"
#include "common/toolkit/list.h"
#include "host/transfer/transfertask.h"

class CLabelUI;
class CProgressUI;
class FrameWindow;

// Uploads and downloads: running, waiting, failed with their reasons, finished.
class TransfersPage : public CVerticalLayoutUI {
 public:
  explicit TransfersPage(FrameWindow& of);
  void DoInit() override;
  // What has changed since the last time; rows of tasks that stay are kept.
  void Reload();
  void OnNotify(TNotifyUI& message);
  std::size_t RowCount() const { return rows.size(); }
  // Where the tasks come from; tests bring their own.
  std::function<std::vector<TransferTask::Ptr>(TaskType kind)> tasksOf;

 protected:
  void resizeEvent(QResizeEvent* event) override;

 private:
  enum class Filter { All, Uploads, Downloads };
  struct Row {
    TransferTask::Ptr task;
    QWidget* widget = nullptr;
    CLabelUI *about = nullptr, *mark = nullptr, *state = nullptr;
    CProgressUI* bar = nullptr;
  };
  std::vector<TransferTask::Ptr> Tasks() const;
  struct Head {
    const char* group;
    CLabelUI* figure;
  };
  void MakeRows(const std::vector<TransferTask::Ptr>& tasks);
  void AddHead(const char* key);
  void ShowCounts(const std::vector<TransferTask::Ptr>& tasks);
  void FollowScroll();
  void AddRow(const TransferTask::Ptr& task);
  CControlUI* MakeMiddle(Row& row);
  CControlUI* MakeState(Row& row);
  static void AddButtons(CContainerUI& row, const TransferTask& task);
  void Update(Row& row);
  QString StateText(const TransferTask& task) const;
  void Act(const std::string& id, const QString& action);

  FrameWindow& frame;
  CListUI* list = nullptr;
  CScrollBarUI* followed = nullptr;
  Filter filter = Filter::All;
  std::size_t wanted;              // rows that are made; more of them when the list's end comes near
  std::vector<std::string> shape;  // which rows there are, and in which groups
  std::vector<Head> heads;
  std::vector<Row> rows;
  bool wide = true;
};
