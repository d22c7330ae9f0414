#pragma once

#include <json/value.h>

#include <cstdint>
#include <string>

#include "cloud/paramsconstructinterface.h"
#include "model/records/album.h"
#include "model/records/galleryfile.h"
#include "transfer/upload/uploadsource.h"

// Numbers of "fileType" in a record.
enum class FileType : std::int32_t {
  Defalut = 0,
  NormalImage = 1,
  SoundImage = 2,
  FocusImage = 3,
  Video = 4,
  Screenshot = 5,
  ApertureFile = 6,
  ThreeDGallery = 7,
  DocumentGallery = 8,
  LivePhoto = 9,
  ThreeDModelPhoto = 11,
  Gif = 12,
};

// The requests of an upload, by their command numbers.
enum UploadCommand : std::int32_t {
  kCreateMedia = 14,    // opens a record that nobody sees yet
  kAnnounceSlice = 15,  // tells an object's digests, answered with where to send it
  kConfirmSlice = 26,   // says that it has been sent
  kPublishMedia = 27,   // makes the record visible
};

// What the requests of one upload are made of. Owned by its task.
struct FileSliceCmdParamsV2 {
  GalleryFile::Ptr file;
  Album::Ptr album;
  std::string lockToken;
  std::string mk2;            // as it was when the run began
  Json::Value doc;            // answer of kCreateMedia
  Json::Value sliceResponse;  // answer of kAnnounceSlice
  Json::ArrayIndex objectIndex = 0;
  Json::ArrayIndex attachmentIndex = 0;
  std::string contentHmac;
  std::string thumbHmac;
  const UploadSource* source = nullptr;
  // Digests of the object's bytes, as they are sent.
  std::string md5;
  std::string sha256;

  const Json::Value& Attachment() const { return doc["attachments"][attachmentIndex]; }
  const Json::Value& Asset() const { return Attachment()["asset"]; }
};

// Builds the request of one command from an upload's record.
template <typename T>
class FileParamsConstruct : public ParamsConstructInterface {
 public:
  FileParamsConstruct(std::int32_t number, const T& from) : command(number), record(&from) {
    paramsKind = kParamsV2;
  }

  // The first generation's requests; none yet, so false.
  bool ParamsProcess(HttpHeaders& headers, std::string& requestBody, std::int32_t& requestMethod,
                     std::string& requestUrl) override;
  bool ParamsProcessV2(HttpHeaders& headers, std::string& requestBody, std::int32_t& requestMethod,
                       std::string& requestUrl) override;

 private:
  std::string CommandUrl() const;
  std::string CommandBody() const;
  // Bodies; empty, logged, when one cannot be built.
  std::string UploadSliceInfo() const;
  Json::Value ContentAttachment() const;
  Json::Value ThumbnailAttachment() const;
  std::string SliceBody() const;
  std::string UploadStateBody() const;
  std::string FinalBody() const;

  const std::int32_t command;
  const T* const record;
};

extern template class FileParamsConstruct<FileSliceCmdParamsV2>;

// The type of an upload by its extension in small letters with its dot; empty for
// one that the table does not have.
std::string_view UploadMimeType(std::wstring_view extension);

// Small and large thumbnail, each encrypted on its own, one behind the other.
// Empty, logged, without a key.
std::string AES_128_CBC_Thumb(const FileSliceCmdParamsV2& record);
