#pragma once

#include <cstdint>
#include <string>

#include "host/transfer/taskproperties.h"

class TransferManager;

namespace ZentaraDeskClient::TransferManagerSpace {

// One row of the transfer window. Plain data of the window's thread.
class ShowTaskEntity {
 public:
  explicit ShowTaskEntity(TransferManager* owner) : manager(owner) {}
  virtual ~ShowTaskEntity() = default;

  void SetFileName(const std::wstring& name) { row.FileName = name; }
  void SetFileId(const std::string& id) { row.FileId = id; }
  void SetUniqueId(const std::string& id) { row.UniqueId = id; }
  void SetTotalLength(std::int64_t bytes) { row.TotalLength = bytes; }
  void SetLocalPath(const std::wstring& path) { row.LocalPath = path; }
  void SetTaskType(std::int64_t type) { row.TaskType = type; }
  void SetEndTime(std::int64_t ms) { row.EndTime = ms; }
  void SetIsFastTrans(bool fast) { row.IsLocalFileDownload = fast; }
  void SetId(std::int64_t id) { row.Id = id; }

  const DatabaseService::TransmissionDB::CompletedTaskProperty& Row() const { return row; }
  TransferManager* Manager() const { return manager; }

  virtual bool DeleteFromDB() { return true; }
  // False when there is none; the picture may come later.
  virtual bool GetThumbnailPath(std::wstring& path);

 private:
  TransferManager* const manager;
  DatabaseService::TransmissionDB::CompletedTaskProperty row;
};

}  // namespace ZentaraDeskClient::TransferManagerSpace

// The row of a transfer of the gallery.
class GalleryShowTask : public ZentaraDeskClient::TransferManagerSpace::ShowTaskEntity {
 public:
  using ShowTaskEntity::ShowTaskEntity;
};
