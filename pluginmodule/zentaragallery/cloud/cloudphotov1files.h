#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cloud/httpheaders.h"
#include "host/requests/ns/cloudphotov2assets.h"
#include "host/requests/ns/request.h"
#include "model/records/galleryfile.h"

// Where the service's first generation keeps the bytes of a file. Its commands are
// POSTs of an object with a "cmd" to one path; each answer has a "code", 0 for a
// success, and an "info".
namespace NS::CloudPhoto::V1 {

// {"code":0,"info":""}
struct Result {
  std::string code;
  std::string info;
  bool IsGood() const { return code == "0"; }
};

// The common headers of the first generation, with its own form of authorization.
Json::Value CommandHeaders();
// Lines for a download of `url`. One that leads elsewhere than to the first
// generation's own service gets none that tell of the user.
std::vector<std::string> ContentHeaders(const std::string& url);

namespace File {

// {"code":0,"info":"","urlList":[{"uniqueId":"...","url":"...","headers":{}}]}
struct UrlRet : Result {
  V2::ObjectUrl address;  // empty: the service has none
};

// {"cmd":"cloudphoto.file.getUrl","ownerId":"...","needUrl":true,"fileList":[{"albumId":
// "...","uniqueId":"...","hash":"...","fileId":"...","extension":".jpg","type":2}]}
Call<UrlRet> GetUrl(const UrlSourceInfo& source);
// Of the file itself, whatever thumbnails it has.
Call<UrlRet> GetOriginalUrl(const GalleryFile& file);

bool Read(const Json::Value& json, UrlRet& answer);

}  // namespace File
}  // namespace NS::CloudPhoto::V1

// The regional file service of the first generation: files by their path. Contents
// are encrypted there, each item as one stream that is cut into slices.
namespace NS::VFS {

inline constexpr char kFolder[] = "/GallerySync/";
inline constexpr char kRecycleFolder[] = "/GallerySyncRecycle/";
// Items of a file's record.
inline constexpr char kContentItem[] = "qorvex_s3_file";
inline constexpr char kSmallItem[] = "small";
inline constexpr char kLargeItem[] = "large";

struct Slice {
  std::int64_t length = 0;  // stored bytes
  CloudPhoto::V2::ObjectUrl address;
};

struct Item {
  std::string name;
  std::vector<Slice> slices;
};

// {"code":0,"info":"","file":{"type":"File","name":"...","size":1,"e_iv":"32 digits",
// "e_fek":"digits","items":[{"name":"qorvex_s3_file","slices":[{"length":1,
// "downloadUrl":{"url":"...","headers":{}}}]}]}}
struct File : CloudPhoto::V1::Result {
  std::string type;
  std::string name;
  std::int64_t size = 0;  // plain bytes
  std::string e_iv;       // hexadecimal
  std::string e_fek;      // the content's key under the user's first key, as an "ekey"
  std::vector<Item> items;

  // Null when there is none of that name.
  const Item* Find(std::string_view item) const;
};

// {"cmd":"vfs.file.get","path":"/GallerySync/NAME"}
Call<File> GetFile(const std::string& path);

bool Read(const Json::Value& json, File& file);

}  // namespace NS::VFS
