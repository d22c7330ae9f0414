#pragma once

#include <map>
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
  explicit TransfersPage(FrameWindow& of) : frame(of) {}
  void DoInit() override;
  // What has changed since the last time; rows of tasks that stay are kept.
  void Reload();
  void OnNotify(TNotifyUI& message);

 private:
  enum class Filter { All, Uploads, Downloads };
  struct Row {
    TransferTask::Ptr task;
    CLabelUI* state = nullptr;
    CProgressUI* bar = nullptr;
  };
  std::vector<TransferTask::Ptr> Tasks() const;
  void Rebuild(const std::vector<TransferTask::Ptr>& tasks);
  void AddHead(const char* key, std::size_t count);
  void AddRow(const TransferTask::Ptr& task);
  void Update(Row& row);
  QString StateText(const TransferTask& task) const;
  void Act(const std::string& id, const QString& action);

  FrameWindow& frame;
  CListUI* list = nullptr;
  Filter filter = Filter::All;
  std::string shape;  // which rows there are, and in which groups
  std::vector<Row> rows;
};
