#pragma once

#include "host/transfer/completetask.h"
#include "host/transfer/downloadtask.h"
#include "host/transfer/galleryshowtask.h"

// A finished download of the gallery, as the engine lists it, and its row in
// TransferCompleteCloudTask.
class GalleryCompleteTask : public CompleteTask {
 public:
  // One that ends now.
  explicit GalleryCompleteTask(const DownloadTask& finished);
  // One of an earlier run.
  explicit GalleryCompleteTask(const DatabaseService::TransmissionDB::CompletedTaskProperty& row);

  bool AddToDB() override;
  bool DeleteFromDB() override;
  std::shared_ptr<GalleryShowTask> GetCompleteShowTask(const std::shared_ptr<CompleteTask>& task) override;
  // Has the picture fetched when there is none yet.
  bool GetThumbnailPath(std::wstring& path) override;
};

// Its row in the transfer window.
class GalleryCompleteShowTask : public GalleryShowTask {
 public:
  GalleryCompleteShowTask(TransferManager* owner,
                          const DatabaseService::TransmissionDB::CompletedTaskProperty& row);

  bool DeleteFromDB() override;
  bool GetThumbnailPath(std::wstring& path) override;
};
