#pragma once

#include <fstream>
#include <string>

#include "common/platform/mutex.h"
#include "host/transfer/taskproperties.h"
#include "host/transfer/transfertask.h"

// A transfer into a local file. The bytes go to the target's path with
// ".download" behind it; the target's name appears only when they are all there.
//
// The fields of the row belong to whoever makes the task until it is queued, and
// then to its run; others read them through the operations below.
class DownloadTask : public TransferTask, public DatabaseService::TransmissionDB::DownloadTaskProperty {
 public:
  DownloadTask() : TransferTask(::TaskType::Download) {}

  // The base's checks, then RunTask; ends with OnComplete or OnStop.
  bool StartTask() override;
  // Also removes the row.
  bool OnComplete() override;

  std::int64_t GetTotalSize() const override { return Read(TotalLength); }
  std::wstring GetFileName() const override { return Read(FileName); }
  std::wstring GetLocalPath() const override { return Read(LocalPath); }
  std::string GetTransferId() const override { return Read(UniqueId); }

 protected:
  virtual bool RunTask() = 0;
  // Chooses a target that no other file or download has, and takes the ".download"
  // file along. False, recorded, when there is none.
  virtual bool TakeOtherPlace() = 0;

  // How a run changes a field that others read meanwhile.
  template <typename Value>
  void Change(Value& field, Value value) {
    platform::MutexLock hold(rowLock);
    field = std::move(value);
  }

  // Makes the target's folder, and has another target taken when a file of another
  // origin stands there. False, recorded, when it cannot be.
  bool SetLocalFile();
  // Compares the ".download" file with the row: cuts what was written behind the
  // last stored position, and starts over when less than that is there.
  bool CheckFileStatus();
  // Tells how far `Position` is; false when the run is to end.
  bool ProgressDownload();
  // Gives the finished ".download" file its name.
  bool PublishFile();
  std::wstring TempPath() const { return LocalPath + L".download"; }

 private:
  bool RunSafely();

  template <typename Value>
  Value Read(const Value& field) const {
    platform::MutexLock hold(rowLock);
    return field;
  }

  // Covers writes of a run and reads of others; the run reads without it.
  mutable platform::Mutex rowLock;
};
