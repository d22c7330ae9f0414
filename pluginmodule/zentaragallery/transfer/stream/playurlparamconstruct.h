#pragma once

#include <string>

#include "cloud/paramsconstructinterface.h"
#include "model/records/galleryfile.h"

class HttpLib;

// The request for an address from which a film can be played as it lies there: the
// service has one only of contents that nobody encrypted.
class PlayUrlParamConstruct : public ParamsConstructInterface {
 public:
  explicit PlayUrlParamConstruct(const GalleryFile& film);

  bool ParamsProcess(HttpHeaders& headers, std::string& requestBody, std::int32_t& requestMethod,
                     std::string& requestUrl) override;
  bool ParamsProcessV2(HttpHeaders& headers, std::string& requestBody, std::int32_t& requestMethod,
                       std::string& requestUrl) override;

  std::string fileId;
  std::string hash;
  std::string albumId;
};

// Sends it by `http`, which may be stopped from another thread, and waits. Empty, logged,
// when there is no such address; the log gets the address without what is secret in it.
std::string RequestPlayUrl(const GalleryFile& film, HttpLib& http);
