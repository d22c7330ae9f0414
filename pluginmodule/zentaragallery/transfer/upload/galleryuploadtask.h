#pragma once

#include <json/value.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "cloud/httplib.h"
#include "common/platform/mutex.h"
#include "host/transfer/transfertask.h"
#include "model/records/album.h"
#include "model/records/galleryfile.h"
#include "transfer/upload/fileparamsconstruct.h"
#include "transfer/upload/uploadsource.h"

class SliceReader;

// Carries one file from the local disk into the photo cloud: opens a record
// there, sends contents and thumbnails encrypted and slice by slice, and makes
// the record visible when everything is there. Afterwards the file has the
// cloud's id.
//
// A run that fails begins anew: since a file always encrypts to the same bytes,
// the cloud then asks only for the slices that it lacks. At most the slice that is
// sent and the next one are in memory. No row keeps the task over a restart;
// `GalleryState` 1 does.
class GalleryUploadTask : public TransferTask {
 public:
  // `target` may be null: the file's own album.
  GalleryUploadTask(const GalleryFile::Ptr& source, const Album::Ptr& target);

  bool StartTask() override;
  // Also ends the request that runs.
  void StopTask(TaskStatus status, std::int32_t errorCode) override;
  bool LoadFromDB() override;
  // Looks whether the source is as it was. The gallery forgets one that has gone or
  // changed, but not one that cannot be looked at.
  bool AddToDB() override;
  std::shared_ptr<CompleteTask> GetCompleteTask() override;
  std::shared_ptr<GalleryShowTask> GetCompleteShowTask(const std::shared_ptr<CompleteTask>& task) override;
  std::int64_t GetTotalSize() const override { return fileSize; }
  std::wstring GetFileName() const override { return file->FileName(); }
  std::wstring GetLocalPath() const override { return localPath; }
  std::string GetTransferId() const override { return transferId; }
  bool GetThumbnailPath(std::wstring& path) override;

  const GalleryFile::Ptr& File() const { return file; }

  // The HMAC of `bytes` as 64 small digits; empty when the library fails.
  static std::string CalContentHmac(const std::string& masterKey, std::string_view bytes);

 private:
  struct Marks;

  bool StartRun();
  bool RunByVersion();
  bool CheckMK();
  bool CheckUserKeyNoEmpty();
  bool ReadSource(const std::string& masterKey, std::string& failure);
  bool TakeReplacedSource(const std::string& masterKey, std::string& failure);
  bool InitUploadFileHmac(UploadFileCommandParams& params);
  bool UploadV2();
  bool CreateRecord(FileSliceCmdParamsV2& record);
  bool PublishRecord(FileSliceCmdParamsV2& record);
  bool UploadAttachment(Json::ArrayIndex index, FileSliceCmdParamsV2& record,
                        UploadFileCommandParams& params);
  bool UploadV2Slice(Json::ArrayIndex attachmentIndex, Json::ArrayIndex objectCount,
                     UploadFileCommandParams& params, std::int32_t kind, FileSliceCmdParamsV2& record);
  bool UploadV2SliceRequestUrl(FileSliceCmdParamsV2& record);
  bool UploadV2SliceRequestUploadState(FileSliceCmdParamsV2& record);
  bool EncryptOriginalData(SliceReader& reader, UploadFileCommandParams& params,
                           FileSliceCmdParamsV2& record);
  bool EncryptThumbData(UploadFileCommandParams& params, FileSliceCmdParamsV2& record);
  bool SendObject(UploadFileCommandParams& params, FileSliceCmdParamsV2& record);
  bool PutObject(UploadFileCommandParams& params, const Json::Value& object, const Json::Value& uploadUrl);
  bool Send(std::int32_t command, FileSliceCmdParamsV2& record, Json::Value& answer);
  void TakeOver(const Json::Value& published, Marks sent);
  void Rename(const std::wstring& name);

  bool MayGoOn() const;
  bool Fail(ErrCode code, const char* step, std::int32_t line, const std::string& cause = {},
            Outage outage = Outage::No);
  bool FailAnswer(const char* step, std::int32_t line, const Json::Value& answer);
  bool SourceIsGone() const;
  void ForgetFile();

  const GalleryFile::Ptr file;
  const Album::Ptr album;
  const std::wstring localPath;
  const std::string transferId;
  std::atomic<std::int64_t> fileSize{0};  // a run reads it anew
  HttpLib httpLib;
  platform::Mutex runLock;  // held for the whole of a run
  UploadSource source;      // of the run
};
