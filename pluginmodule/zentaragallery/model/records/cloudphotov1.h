#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>

// Files as the cloud tells of them, in the records of its first generation, which
// those of the second fill too. Plain data: made by whoever reads an answer, owned by
// nobody else.
namespace NS::CloudPhoto::V1 {

// The place of one file: what a deletion names.
struct AlbumFile {
  std::string albumId;
  std::string uniqueId;
  std::string hash;
};

// A file as a listing or a change reports it. Times in ms since 1970.
struct FileInfo {
  std::string uniqueId;
  std::string fileId;
  std::string thumbFileId;
  std::string lcdFileId;
  std::string videoThumbId;
  std::wstring fileName;
  std::string hash;
  std::int64_t size = 0;
  std::int64_t createTime = 0;
  bool favorite = false;
  bool localUpload = false;
  std::string fileType;  // a decimal number: 1 picture, 4 video
  std::string albumId;
  std::string recycleAlbumId;
  std::int64_t recycleTime = -1;
  std::int64_t sdsmtime = 0;
  std::int64_t operateTime = 0;  // last change on the device that sends the record; 0 not told
  std::string source;            // the album that a recycled file came from
  Json::Value expand;
  std::string device;
  std::string otype;
  std::int32_t cloudContentStatus = 0;
  std::string pictureMetadata;  // JSON text
  std::string videoMetadata;    // JSON text
};

// Which content of a file a link is asked for.
struct UrlSourceInfo {
  std::string albumId;
  std::string uniqueId;
  std::string hash;
  std::string fileId;
  std::wstring extension;
  std::int32_t type = 0;  // 0 original, 1 screen, 2 thumbnail, 3 poster of a video
};

}  // namespace NS::CloudPhoto::V1
