#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "cloud/cloudphotov1files.h"
#include "host/requests/ns/cloudphotov2assets.h"
#include "model/records/galleryfile.h"
#include "transfer/httpfetch.h"

// One fetch of one thumbnail from the service. In its second generation both thumbnails of a
// file lie in one object, the small one first; only the range of the wanted one is
// asked for:
//
//   encrypted  [small + 1..16][large + 1..16]
//   plain      [small][large]
//
// It is decrypted in memory, written to a ".crypt" file beside its place, checked
// there as a picture and against the digest of the record, and then renamed, so
// that a file of the final name is always whole. An object that the cloud has lost
// comes through its proxy when that still has it. For one thread.
class ThumbnailDownload {
 public:
  using Progress = std::function<void(int percent)>;

  // `goesOn` false ends it; empty: nothing does. `progress` may be empty.
  ThumbnailDownload(GalleryFile::Ptr wanted, bool isLarge, std::function<bool()> mayGoOn,
                    Progress whenFurther = {});

  // False, logged, when no thumbnail came about.
  bool DownloadThumbnailV2();
  // The same from the first generation, which keeps each thumbnail by itself, and from
  // its regional service, which keeps them encrypted. A picture that has none there gets
  // one made of its original.
  bool DownloadThumbnailV1();
  bool DownloadThumbnailV1Eur();

 private:
  // Far beyond a picture of 1920 pixels; a record cannot make this computer take
  // more into memory.
  static constexpr std::int64_t kLargestBytes = 64 << 20;

  // Where the bytes lie, as the metadata of this fetch tells.
  struct Place {
    NS::CloudPhoto::V2::Attachment thumbnail;
    std::string url;
    std::vector<std::string> headers;
    bool fromFileproxy = false;
    std::int64_t start = 0;   // of the range
    std::int64_t length = 0;  // of the range
    std::int64_t plain[2]{};  // small and large, where the record tells both
    std::string sha256;       // of the plain bytes; empty when not told
    // Of the first generation.
    std::vector<NS::VFS::Slice> slices;  // one behind the other; `length` 0 where it is not told
    std::string iv;
    std::string encryptedKey;
    bool isOriginal = false;  // it has no thumbnail of that size
  };

  // thumbnailplace.cpp
  bool GetThubDlUrlV2();
  bool ParseThubDlUrlV2(const NS::CloudPhoto::V2::MediaGetResponse& media);
  void ChooseRange();
  std::string GetFileproxyUrl() const;
  void DeleteGalleryFile() const;

  // thumbnaildownload.cpp
  bool DownloadCryptThumbnail();
  bool DownloadPlainThumbnail();
  enum class Outcome { Failed, Bytes, FromFileproxy };
  Outcome DownloadThumbnail(std::string& bytes);
  Outcome TakeFromFileproxy();
  HttpFetched FetchRange();
  void TellProgress(std::size_t bytes);
  bool TakeRange(HttpFetched& fetched, std::string& bytes) const;
  bool Decode(std::string& bytes, std::string& plain) const;
  bool DownloadFileFromFileproxy();
  bool DownloadFileproxyFile(const std::string& url);
  std::string OwnPart(std::string bytes) const;
  bool SaveThumbnail(const std::string& plain) const;
  static bool WriteFile(const std::wstring& path, const std::string& bytes);
  static void RemoveQuietly(const std::wstring& path);
  static std::string ErrorText(const HttpFetched& fetched);
  bool CheckThumbnail(const std::wstring& path) const;
  bool DeleteDiffShaThm(const std::wstring& path) const;

  // thumbnaildownloadv1.cpp
  using GetAddress = bool (ThumbnailDownload::*)();
  bool GetThubDlUrlV1();
  bool GetThubDlUrlV1Eur();
  bool FetchAll(GetAddress getAddress, std::string& bytes);
  HttpFetched FetchWhole();
  bool MakeOfOriginal(const std::string& bytes) const;

  // thumbnailstatus.cpp
  void LogOperationFailure(const std::string& text) const;
  void ReportLost() const;
  std::int32_t GetThumbnailStatus() const;
  void UpdateThumbnailStatus() const;
  bool GalleryAssetsRevisionsUpdate(std::int32_t status) const;

  bool MayGoOn() const { return !goesOn || goesOn(); }
  std::string Id() const { return file->UniqueId(); }

  const GalleryFile::Ptr file;
  const bool isLcd;
  const std::function<bool()> goesOn;
  const Progress progress;
  int told = 0;  // percent
  Place place;
};
