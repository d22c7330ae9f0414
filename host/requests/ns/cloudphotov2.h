#pragma once

#include <json/value.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/requests/ns/request.h"

// Records and requests of the photo cloud's second generation. Plain data; times
// in ms since 1970, -1 where the service told none.
namespace NS::CloudPhoto::V2 {

inline constexpr int kPageSize = 100;

struct About {
  std::string dataVersion;
  std::string status;
  std::int32_t maxBatchNumber = 0;
  std::int64_t maxFileUploadSize = 0;
  std::int64_t maxThumbnailSize = 0;
  std::string fullUploadCursor;
  std::map<std::string, std::string> settings;
};

struct Album {
  std::string id;
  std::string albumName;
  std::string type;
  std::int64_t createdTime = -1;
  std::string localPath;
  Json::Value properties;
};

struct AlbumPage {
  std::vector<Album> albums;
  std::string nextCursor;
};

struct Media {
  std::string id;
  std::string albumId;
  std::string fileName;
  std::string fileType;  // a decimal number
  std::string hashId;
  std::string deviceId;
  std::string source;
  std::string status;
  std::string version;
  std::int64_t createdTime = -1;
  std::int64_t editedTime = -1;
  std::int64_t recycledTime = -1;
  std::int64_t size = 0;
  bool favorite = false;
  bool recycled = false;
  Json::Value properties;
  Json::Value pictureMetadata;
  Json::Value videoMetadata;
};

struct MediaPage {
  std::vector<Media> media;
  std::string nextCursor;
};

struct Change {
  std::string changeType;
  std::string device;
  std::string mediaId;
  bool deleted = false;
  Media media;  // empty when deleted
};

struct ChangePage {
  std::vector<Change> changes;
  std::string nextCursor;      // empty on the last page
  std::string newStartCursor;  // set on the last page
};

struct StartCursor {
  std::string startCursor;
  std::string fullUploadCursor;
};

struct Lock {
  std::string token;
  std::int32_t expiresIn = 0;  // seconds
};

// An answer whose body says nothing.
struct Nothing {};

// Fill a record from an answer; false when it is not that record.
bool Read(const Json::Value& json, About& about);
bool Read(const Json::Value& json, Album& album);
bool Read(const Json::Value& json, AlbumPage& page);
bool Read(const Json::Value& json, Media& media);
bool Read(const Json::Value& json, MediaPage& page);
bool Read(const Json::Value& json, Change& change);
bool Read(const Json::Value& json, ChangePage& page);
bool Read(const Json::Value& json, StartCursor& cursor);
bool Read(const Json::Value& json, Lock& lock);
inline bool Read(const Json::Value&, Nothing&) { return true; }

// Parameters of a listing. `queryParam` holds terms joined by "&".
struct ListParameters {
  std::string fields;
  std::string cursor;
  std::string queryParam;
  std::string orderBy;
  int pageSize = kPageSize;
};

class AboutReq {
 public:
  static Call<About> Get(const std::string& fields);
};

// Bodies are the record's members as the service names them.
class AlbumsReq {
 public:
  static Call<AlbumPage> List(const ListParameters& parameters);
  static Call<Album> Create(const Json::Value& body, const std::string& lockToken);
  static Call<Album> Update(const std::string& id, const Json::Value& body, const std::string& lockToken);
  static Call<Nothing> Delete(const std::string& id, const std::string& lockToken);
};

class P2ReqMediaPatchMetadataRet;  // cloudphotov2losts.h

class MediaReq {
 public:
  static Call<MediaPage> List(const ListParameters& parameters);
  static Call<Media> GetMetadata(const std::string& id, const std::string& fields);
  static Call<Media> PatchMetadata(const std::string& id, const Json::Value& body,
                                   const std::string& lockToken);
  // Ends a lost state: "normal", which the service takes when every object is whole.
  static Call<P2ReqMediaPatchMetadataRet> UpdateMediaStatus(const std::string& id, const std::string& fields,
                                                            const std::string& status,
                                                            const std::string& lockToken);
  static Call<Nothing> Delete(const std::string& id, const std::string& lockToken);
};

class ChangesReq {
 public:
  // Changes of media behind `cursor`, deletions included.
  static Call<ChangePage> List(const std::string& fields, const std::string& cursor);
  static Call<StartCursor> GetStartCursor(const std::string& fields);
};

class Locks {
 public:
  // Takes the account's lock with an empty token, else renews it.
  static Call<Lock> Get(const std::string& token);
  static Call<Nothing> Delete(const std::string& token);
};

}  // namespace NS::CloudPhoto::V2
