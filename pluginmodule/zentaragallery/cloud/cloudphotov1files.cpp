#include "cloud/cloudphotov1files.h"

#include "cloud/cheader.h"
#include "common/platform/text.h"
#include "host/account/userauthservice.h"
#include "host/base/jsontext.h"
#include "host/requests/curlppx.h"
#include "host/requests/ns/headbuilder.h"
#include "utils/globaldata.h"

using JsonText::Number;
using JsonText::Object;
using JsonText::Text;

namespace {

constexpr char kCommandPath[] = "/JPJX/CloudPhoto";
// A record cannot make this computer keep more of it.
constexpr Json::ArrayIndex kMostSlices = 100'000;

template <typename Record>
NS::Call<Record> Command(const char* name) {
  NS::Call<Record> call;
  call.method = "POST";
  call.uri = kCommandPath;
  call.baseUrl = GlobalData::cloudPhotoUrl;
  call.makeHeaders = NS::CloudPhoto::V1::CommandHeaders;
  call.body["cmd"] = name;
  return call;
}

NS::CloudPhoto::V2::ObjectUrl ReadAddress(const Json::Value& json) {
  return {Text(json, "url"), NS::CloudPhoto::V2::HeaderLines(Object(json, "headers"))};
}

const Json::Value& List(const Json::Value& json, const char* key) {
  const Json::Value& list = JsonText::Member(json, key);
  return list.isArray() ? list : Json::Value::nullSingleton();
}

bool ReadResult(const Json::Value& json, NS::CloudPhoto::V1::Result& result) {
  result.code = Text(json, "code");
  result.info = Text(json, "info");
  return !result.code.empty();
}

NS::VFS::Item ReadItem(const Json::Value& json) {
  NS::VFS::Item item{Text(json, "name"), {}};
  const Json::Value& slices = List(json, "slices");
  if (slices.size() > kMostSlices) return item;
  for (const Json::Value& slice : slices)
    item.slices.push_back({Number(slice, "length"), ReadAddress(Object(slice, "downloadUrl"))});
  return item;
}

}  // namespace

namespace NS::CloudPhoto::V1 {

Json::Value CommandHeaders() {
  HttpHeaders headers;
  CHeader::GetInstance().Build(headers);
  Json::Value json(Json::objectValue);
  for (const auto& [name, value] : headers) json[name].append(value);
  return json;
}

std::vector<std::string> ContentHeaders(const std::string& url) {
  const std::string there = curlppx::CurlUrl::Place(url);
  const bool isOwn = !there.empty() && there == curlppx::CurlUrl::Place(GlobalData::cloudPhotoUrl);
  return isOwn ? HeadBuilder::Lines(CommandHeaders()) : std::vector<std::string>();
}

Call<File::UrlRet> File::GetUrl(const UrlSourceInfo& source) {
  auto call = Command<UrlRet>("cloudphoto.file.getUrl");
  call.body["ownerId"] = platform::WideToUtf8(UserAuthService::GetInstance()->GetCurrentUserID());
  call.body["needUrl"] = true;
  Json::Value& asked = call.body["fileList"].append(Json::objectValue);
  asked["albumId"] = source.albumId;
  asked["uniqueId"] = source.uniqueId;
  asked["hash"] = source.hash;
  asked["fileId"] = source.fileId;
  asked["extension"] = platform::WideToUtf8(source.extension);
  asked["type"] = source.type;
  return call;
}

Call<File::UrlRet> File::GetOriginalUrl(const GalleryFile& file) {
  constexpr int kOriginal = 0;
  UrlSourceInfo source = file.UrlSource(kOriginal);
  // A film's poster is its thumbnail, not the film.
  source.type = kOriginal;
  source.fileId = file.FileId();
  return GetUrl(source);
}

bool File::Read(const Json::Value& json, UrlRet& answer) {
  const Json::Value& list = List(json, "urlList");
  if (!list.empty()) answer.address = ReadAddress(list[0]);
  return ReadResult(json, answer);
}

}  // namespace NS::CloudPhoto::V1

namespace NS::VFS {

const Item* File::Find(std::string_view item) const {
  for (const Item& each : items) {
    if (each.name == item) return &each;
  }
  return nullptr;
}

Call<File> GetFile(const std::string& path) {
  auto call = Command<File>("vfs.file.get");
  call.body["path"] = path;
  return call;
}

bool Read(const Json::Value& json, File& file) {
  const Json::Value& record = Object(json, "file");
  file.type = Text(record, "type");
  file.name = Text(record, "name");
  file.size = Number(record, "size");
  file.e_iv = Text(record, "e_iv");
  file.e_fek = Text(record, "e_fek");
  for (const Json::Value& item : List(record, "items")) file.items.push_back(ReadItem(item));
  return ReadResult(json, file);
}

}  // namespace NS::VFS
