#include "host/transfer/transfertask.h"

#include <json/value.h>

#include "host/base/jsontext.h"
#include "host/transfer/completetask.h"
#include "host/transfer/galleryshowtask.h"

bool TransferTask::StartTask() {
  ClearErr();
  return !HasEnded();
}

void TransferTask::StopTask(TaskStatus next, std::int32_t errorCode) { SetStatus(next, errorCode); }

bool TransferTask::OnComplete() {
  SetTransferred(GetTotalSize());
  SetSpeed(0);
  return SetStatus(TaskStatus::Completed, 0);
}

std::shared_ptr<CompleteTask> TransferTask::GetCompleteTask() { return nullptr; }

std::shared_ptr<GalleryShowTask> TransferTask::GetCompleteShowTask(const std::shared_ptr<CompleteTask>&) {
  return nullptr;
}

bool TransferTask::GetThumbnailPath(std::wstring& path) {
  path.clear();
  return false;
}

bool TransferTask::BeginRun() {
  TaskStatus waiting = TaskStatus::Waiting;
  if (!status.compare_exchange_strong(waiting, TaskStatus::Running)) return false;
  statusReason = 0;
  return true;
}

void TransferTask::OnStop() {
  SetSpeed(0);
  TaskStatus running = TaskStatus::Running;
  if (!status.compare_exchange_strong(running, TaskStatus::Failed)) return;
  statusReason = LastErr().code;
}

bool TransferTask::HasEnded() const {
  const TaskStatus now = status;
  return now == TaskStatus::Completed || now == TaskStatus::Failed;
}

bool TransferTask::SetStatus(TaskStatus next, std::int32_t reason) {
  TaskStatus now = status;
  do {
    const bool ended = now == TaskStatus::Completed || now == TaskStatus::Failed;
    if (ended && next != TaskStatus::Waiting) return false;
  } while (!status.compare_exchange_weak(now, next));
  statusReason = reason;
  return true;
}

void TransferTask::CallDone() {
  if (!doneCalled.exchange(true) && done) done(shared_from_this());
}

std::string TransferTask::ErrSubject() const { return GetTransferId(); }

std::string TransferTask::GetResultReportInfo(const std::string& fileId, const std::string& fileName,
                                              double seconds, ErrCode result) {
  Json::Value report;
  report["fileId"] = fileId;
  report["fileName"] = fileName;
  report["seconds"] = seconds;
  report["result"] = static_cast<int>(result);
  return JsonText::Write(report);
}
