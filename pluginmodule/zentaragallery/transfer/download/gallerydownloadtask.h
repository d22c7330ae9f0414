#pragma once

#include <atomic>
#include <fstream>
#include <future>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cloud/cloudphotov1files.h"
#include "cloud/galleryver.h"
#include "host/requests/curlppx.h"
#include "host/requests/ns/cloudphotov2assets.h"
#include "host/transfer/downloadtask.h"
#include "model/records/galleryfile.h"
#include "transfer/httpfetch.h"
#include "utils/streamdigest.h"

// Brings the original of one cloud file into a local folder: slice by slice,
// each decrypted and appended to the ".download" file, which gets its name when
// the whole is there. The row in DownloadTask keeps how far it is.
//
// A content that the cloud has lost comes through its proxy when that still has
// it, and is then reported as there again. Two slices are in memory: one that is
// written, and the next one on its way.
class GalleryDownloadTask : public DownloadTask {
 public:
  explicit GalleryDownloadTask(const DatabaseService::TransmissionDB::DownloadTaskProperty& row);

  bool OnComplete() override;
  bool LoadFromDB() override;
  bool AddToDB() override;
  // Also removes the ".download" file.
  bool DeleteFromDB() override;
  void StopTask(TaskStatus status, std::int32_t errorCode) override;
  std::shared_ptr<CompleteTask> GetCompleteTask() override;
  std::shared_ptr<GalleryShowTask> GetCompleteShowTask(const std::shared_ptr<CompleteTask>& task) override;
  bool GetThumbnailPath(std::wstring& path) override;

 protected:
  bool RunTask() override;
  bool TakeOtherPlace() override;

 private:
  // Where the bytes come from, as the metadata of this run tells.
  struct Place {
    NS::CloudPhoto::V2::MediaGetResponse media;
    NS::CloudPhoto::V2::Attachment content;
    std::vector<std::int64_t> slices;  // lengths of the objects
    std::string encryptedKey;
    std::string ivText;
    std::int32_t keyType = 0;  // 0 until a keychain is found
    std::string url;           // of a content that is not encrypted
    bool usesBearer = false;   // the URL is a link of the record and needs the session
    bool fromFileproxy = false;
    bool hasContent = false;
    // Of the first generation.
    NS::CloudPhoto::V2::ObjectUrl address;
    NS::VFS::File record;  // of its regional service
  };
  using Fetched = HttpFetched;

  bool StartDownloadTask();
  bool DownloadByVersion(GalleryVer version);
  bool DownloadV2();
  bool HasItsName() const;
  bool HoldsTheContent() const;
  void FollowNewId();
  bool GetDownloadUrlV2();
  bool ReadMetadata(NS::Answer<NS::CloudPhoto::V2::MediaGetResponse>& answer);
  void ForgetFile();
  void NoteMigration() const;
  void ChooseContent();
  void ChooseKeychain();
  bool ChooseThumbnail();

  // gallerydownloadv1.cpp
  bool DownloadV1();
  bool GetDownloadUrl();
  bool FetchOriginal();
  Fetched FetchRest();
  bool CheckLength();
  bool DownloadV1Eur();
  bool GetDownloadUrlEur();
  const NS::VFS::Item& RegionalContent() const;
  bool FindSlice();
  bool TakeRegionalSlices();
  Fetched FetchRegionalSlice(const NS::VFS::Slice& slice);
  bool OpenRegionalContent();
  bool ReadyToWrite(const char* step);

  bool DownloadCrypt();
  bool DownloadSlices();
  bool TakeSlices(std::future<Fetched>& ahead);
  Fetched FetchSlice(const NS::CloudPhoto::V2::ResourceObject& object);
  bool TakeSlice(std::string bytes);
  bool DecodeSlice(std::string& data, std::string& plain);
  bool RefreshDownloadHeader();
  bool DownloadPlain();
  bool CheckContent();
  bool FailTransfer(const char* step, std::int32_t line, const Fetched& fetched, const std::string& url);
  Fetched HttpDownload(const std::string& url, const std::vector<std::string>& headers,
                       const curlppx::CurlConn::Writer& writer);

  bool RefundGalleryFile();
  void UpdateLostStatus();
  bool DownloadContentFromFileproxy();
  bool DownloadContent(const std::string& url);
  void LogContentStatus(const std::string& status) const;
  void ContentUpdateStatus();

  bool CreateTempFile();
  bool DigestEarlierBytes();
  void DeleteTempDownloadFile();
  bool StartOver();
  bool AppendPlain(std::string_view plain);
  bool SavePosition();
  bool MayGoOn() const { return Status() == TaskStatus::Running; }
  bool Fail(ErrCode code, Level level, const char* step, std::int32_t line, const std::string& text,
            Outage outage = Outage::No);

  Place place;
  std::size_t objectIndex = 0;  // the next slice
  std::atomic<bool> slicesWanted{false};
  std::ofstream tempStream;
  std::optional<StreamDigest> digest;  // SHA-256 of what is in the ".download" file
};
