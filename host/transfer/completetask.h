#pragma once

#include "host/transfer/taskproperties.h"
#include "host/transfer/transfertask.h"

// A finished transfer, as the engine keeps it in its list.
class CompleteTask : public TransferTask, public DatabaseService::TransmissionDB::CompletedTaskProperty {
 public:
  CompleteTask() : TransferTask(::TaskType::Complete) {}

  std::int64_t GetTotalSize() const override { return TotalLength; }
  std::wstring GetFileName() const override { return FileName; }
  std::wstring GetLocalPath() const override { return LocalPath; }
  std::string GetTransferId() const override { return UniqueId; }
};
