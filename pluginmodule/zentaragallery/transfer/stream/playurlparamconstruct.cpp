#include "transfer/stream/playurlparamconstruct.h"

#include "cloud/cheader.h"
#include "cloud/httplib.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/jsontext.h"
#include "host/requests/curlppx.h"
#include "host/requests/ns/request.h"
#include "utils/gallerylog.h"
#include "utils/globaldata.h"

namespace {

constexpr char kTag[] = "VideoPlayer::CanPlayVideo";
constexpr char kV1Path[] = "/JPJX/CloudPhoto4Manual";

void PutSession(HttpHeaders& headers) {
  CHeader::GetInstance().Build(headers);
  headers["Authorization"] = "Bearer " + platform::WideToUtf8(UserAuthService::GetInstance()->GetCurrentAT());
}

}  // namespace

PlayUrlParamConstruct::PlayUrlParamConstruct(const GalleryFile& film)
    : fileId(film.UniqueId()), hash(film.Hash()), albumId(film.AlbumId()) {}

bool PlayUrlParamConstruct::ParamsProcess(HttpHeaders& headers, std::string& requestBody,
                                          std::int32_t& requestMethod, std::string& requestUrl) {
  if (GlobalData::cloudPhotoUrl.empty()) return false;
  Json::Value command;
  command["cmd"] = "cloudphoto.mo.getPlayUrl";
  command["hash"] = hash;
  PutSession(headers);
  requestBody = JsonText::Write(command);
  requestMethod = kHttpPost;
  requestUrl = GlobalData::cloudPhotoUrl + kV1Path;
  return true;
}

bool PlayUrlParamConstruct::ParamsProcessV2(HttpHeaders& headers, std::string&, std::int32_t& requestMethod,
                                            std::string& requestUrl) {
  if (fileId.empty()) return false;
  PutSession(headers);
  requestMethod = kHttpGet;
  requestUrl = NS::Request::BaseUrl() + "/cloudPhoto/v1/media/" + curlppx::CurlUrl::Escape(fileId) +
               "?fields=signedDownloadLink";
  return true;
}

std::string RequestPlayUrl(const GalleryFile& film, HttpLib& http) {
  const bool isV2 = GlobalData::cloudGeneration == GlobalData::kGenerationV2;
  PlayUrlParamConstruct params(film);
  if (isV2) params.paramsKind = ParamsConstructInterface::kParamsV2;
  std::string response;
  const bool answered = http.RequestInterface(params, response) && http.HasGoodAnswer();
  const auto reply = JsonText::Parse(response).value_or(Json::Value());
  const std::string told = JsonText::Text(reply, "code");
  const bool good = answered && (told.empty() || told == "0");
  LogInfo(kTag,
          "VLC Play request code:" + (told.empty() ? std::to_string(http.LastResult().httpCode) : told) +
              (good ? " success" : " fail"));
  if (!good) return {};
  std::string url = JsonText::Text(reply, isV2 ? "signedDownloadLink" : "playUrl");
  LogInfo(kTag, "streaming media url :" + curlppx::CurlUrl::Place(url));
  return url;
}
