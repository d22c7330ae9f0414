// Where a thumbnail lies, as the cloud's record tells.

#include "host/base/jsontext.h"
#include "host/requests/ns/request.h"
#include "model/gallery.h"
#include "transfer/contentcrypto.h"
#include "transfer/thumbnails/thumbnaildownload.h"
#include "utils/gallerylog.h"

using JsonText::Number;
using JsonText::Text;
using NS::CloudPhoto::V2::Attachment;
using NS::CloudPhoto::V2::GetContentCall;
using NS::CloudPhoto::V2::kContentFields;
using NS::CloudPhoto::V2::MediaGetResponse;

namespace {

constexpr char kTag[] = "ThumbnailHelper::GetThubDlUrlV2";
constexpr char kMediaUnknown[] = "31084041";
constexpr char kLinkFields[] = "contentDownloadLink,smallThumbnailDownloadLink,thumbnailDownloadLink";

std::string TextOf(const NS::RawAnswer& answer) {
  if (answer.NetError()) return "net error! info:" + curlppx::CurlGlobal::GetErrStr(answer.curlCode);
  if (answer.error) return "GetUrl error:" + answer.error->Text();
  return "service error! http code:" + std::to_string(answer.httpCode);
}

}  // namespace

bool ThumbnailDownload::GetThubDlUrlV2() {
  place = Place();
  const auto answer = NS::Request::Sync(GetContentCall(Id(), kContentFields));
  if (answer.payload && ParseThubDlUrlV2(*answer.payload)) return true;
  if (!answer.payload) LogError(kTag, TextOf(answer));
  const bool isGone = answer.error && answer.error->Code() == kMediaUnknown &&
                      answer.error->errors.front().subject == "mediaId";
  if (isGone) DeleteGalleryFile();
  LogError(kTag, [this] { return "download thumb error:get url error! file id: " + Id(); });
  return false;
}

bool ThumbnailDownload::ParseThubDlUrlV2(const MediaGetResponse& media) {
  const Attachment* thumbnail = media.Find("thumbnail");
  if (!thumbnail || thumbnail->asset.deleted) return false;
  place.thumbnail = *thumbnail;
  ChooseRange();
  const auto& objects = thumbnail->asset.resource.objects;
  if (objects.empty()) {
    LogInfo(kTag, [this] { return "download form fileproxy, fileid: " + Id(); });
    place.fromFileproxy = true;
    place.url = isLcd ? media.thumbnailDownloadLink : media.smallThumbnailDownloadLink;
  } else {
    place.url = objects.front().downloadUrl.url;
    place.headers = objects.front().downloadUrl.headers;
    if (place.url.empty()) LogError(kTag, "downloadUrl is empty");
  }
  return !place.url.empty();
}

// The sizes of the record are those of the plain pictures.
void ThumbnailDownload::ChooseRange() {
  const bool isCrypt = place.thumbnail.asset.cipher.isSet;
  // A record may claim any number; -1 is none that a picture has.
  const auto stored = [isCrypt](std::int64_t plain) -> std::int64_t {
    if (plain < 0 || plain > kLargestBytes) return -1;
    return isCrypt ? ContentCrypto::PaddedSize(plain) : plain;
  };
  const Json::Value& attributes = place.thumbnail.asset.attributes;
  const Json::Value& length = attributes.isObject() ? attributes["length"] : Json::Value::nullSingleton();
  if (length.isObject()) {
    place.plain[0] = Number(length, "small");
    place.plain[1] = Number(length, "large");
    place.start = isLcd ? stored(place.plain[0]) : 0;
    place.length = stored(place.plain[isLcd ? 1 : 0]);
    place.sha256 = Text(JsonText::Object(attributes, "sha256"), isLcd ? "large" : "small");
    return;
  }
  // One picture that stands for both.
  place.length = stored(length.isNull() ? std::int64_t{file->Size} : Number(attributes, "length"));
  place.sha256 = attributes.isObject() ? Text(attributes, "sha256") : std::string();
}

std::string ThumbnailDownload::GetFileproxyUrl() const {
  const auto answer = NS::Request::Sync(GetContentCall(Id(), kLinkFields));
  if (!answer.payload) {
    LogError("ThumbnailHelper::GetFileproxyUrl", TextOf(answer));
    return {};
  }
  return isLcd ? answer.payload->thumbnailDownloadLink : answer.payload->smallThumbnailDownloadLink;
}

void ThumbnailDownload::DeleteGalleryFile() const {
  LogInfo("ThumbnailHelper::DeleteGalleryFile",
          [this] { return "delete file from memory and database, id:" + Id(); });
  (void)Gallery::GetInstance().DeleteGone({Id()});  // Else the next pull does it.
}
