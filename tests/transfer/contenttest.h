#pragma once

#include <set>
#include <string>
#include <vector>

#include "answerchanger.h"
#include "cloudserver.h"
#include "host/transfer/transfererrorinterface.h"
#include "transfer/download/gallerydownloadtask.h"
#include "transfer/upload/galleryuploadtask.h"

inline constexpr int kSliceSize = 65536;

// A client that holds the lock of a server which cuts contents into small
// objects.
class ContentTest : public CloudTest {
 protected:
  // The lock outlasts slow runs under a sanitizer; nothing here renews it.
  explicit ContentTest(int sliceSize = kSliceSize)
      : CloudTest({"--slice-size", std::to_string(sliceSize), "--lock-seconds", "3600"}) {}
  void SetUp() override;

  // A local file with thumbnails that waits for its upload.
  FilePtr Source(const std::string& name, const std::string& bytes);
  // Bytes without a pattern, the same for every run.
  static std::string Noise(std::size_t count, unsigned seed = 1);

  static std::shared_ptr<GalleryUploadTask> UploadTask(const FilePtr& file);
  // One run; true when it succeeded.
  static bool Run(TransferTask& task);
  bool Upload(const FilePtr& file) { return Run(*UploadTask(file)); }

  // A download of what the cloud holds of `file`, with its row.
  std::shared_ptr<GalleryDownloadTask> DownloadTask(const FilePtr& file, const std::string& name);
  // The bytes at the task's target; "(none)" when there is no such file.
  static std::string Bytes(const std::shared_ptr<GalleryDownloadTask>& task);
  // Files below the downloads of this test, finished or not.
  std::vector<std::string> Downloads() const;

  // From now on the client talks to the service through the result.
  std::unique_ptr<AnswerChanger> ChangeAnswers(AnswerChanger::Change change);

  // What the service holds of a media, as another device sees it.
  Json::Value CloudRecord(const std::string& id);

  // Requests of one kind since the last ForgetRequests.
  std::size_t CountRequests(const std::string& beginning);
  // Records that other devices can see.
  std::set<std::string> VisibleIds();
  bool IsVisible(const std::string& id) { return VisibleIds().contains(id); }
  std::size_t VisibleCount() { return VisibleIds().size(); }
};
