#include "clouduploads.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include "host/base/jsontext.h"
#include "utils/methodfunction.h"
#include "utils/streamdigest.h"

namespace {

using JsonText::Write;

Json::Value CreateBody(const std::string& fileName, const std::vector<UploadedAsset>& assets) {
  Json::Value body(Json::objectValue);
  body["fileName"] = fileName;
  body["albumId"] = "default-album-1";
  body["fileType"] = 1;
  body["createdTime"] = "2024-05-01T10:20:30";
  for (const UploadedAsset& asset : assets) {
    Json::Value attachment(Json::objectValue);
    attachment["usage"] = asset.usage;
    Json::Value& sent = attachment["asset"];
    if (!asset.cipher.isNull()) sent["cipher"] = asset.cipher;
    sent["attributes"] = asset.attributes.isNull() ? Json::Value(Json::objectValue) : asset.attributes;
    sent["resource"]["length"] = Json::Int64{asset.plainBytes};
    sent["resource"]["sha256"] = asset.sha256;
    sent["resource"]["hash"] = asset.sha256 + asset.sha256;
    body["attachments"].append(attachment);
  }
  return body;
}

std::string Md5(const std::string& bytes) {
  StreamDigest digest(StreamDigest::Kind::Md5);
  (void)digest.Update(bytes);
  return digest.Finish();
}

Json::Value SliceBody(const Json::Value& object, const std::string& bytes) {
  Json::Value body(Json::objectValue);
  Json::Value& announced = body["resource"]["objects"][0];
  announced["objectId"] = object["id"];
  announced["md5"] = Md5(bytes);
  announced["sha256"] = MethodFunction::Sha256(bytes);
  return body;
}

void SendAsset(OtherDevice& device, const std::string& mediaId, const Json::Value& asset,
               const std::vector<std::string>& objects) {
  const std::string path = "/media/" + mediaId + "/assets/" + asset["id"].asString() + "/revisions/" +
                           asset["versionId"].asString();
  const Json::Value& places = asset["resource"]["objects"];
  ASSERT_EQ(places.size(), objects.size());
  for (Json::ArrayIndex i = 0; i < places.size(); ++i) {
    ASSERT_EQ(places[i]["length"].asUInt64(), objects[i].size());
    const Json::Value answer = device.Send("POST", path, Write(SliceBody(places[i], objects[i])));
    const Json::Value& target = answer["resource"]["objects"][i];
    if (target["state"].asInt() == 2)
      OtherDevice::PutObject(target["uploadUrl"]["url"].asString(), objects[i]);
  }
}

}  // namespace

std::string UploadMedia(OtherDevice& device, const std::string& fileName,
                        const std::vector<UploadedAsset>& assets) {
  device.TakeLock();
  const Json::Value made = device.Send("POST", "/media?mode=temp", Write(CreateBody(fileName, assets)));
  const std::string id = made["id"].asString();
  for (Json::ArrayIndex i = 0; i < assets.size(); ++i)
    SendAsset(device, id, made["attachments"][i]["asset"], assets[i].objects);
  device.Send("PATCH", "/media/" + id + "?mode=normal&fields=id", "{}");
  return id;
}

std::vector<UploadedAsset> AnyAssets(char seed, std::size_t plainBytes) {
  const std::size_t stored = (plainBytes / 16 + 1) * 16;
  Json::Value cipher(Json::objectValue);
  cipher["iv"] = std::string(32, '0');
  UploadedAsset content{"content",
                        static_cast<std::int64_t>(plainBytes),
                        {std::string(stored, seed)},
                        cipher,
                        {},
                        MethodFunction::Sha256(std::string("content ") + seed)};
  UploadedAsset thumbnail{"thumbnail", 3,  {std::string(32, static_cast<char>(seed + 1))},
                          cipher,      {}, MethodFunction::Sha256(std::string("thumbnail ") + seed)};
  thumbnail.attributes["length"]["small"] = 1;
  thumbnail.attributes["length"]["large"] = 2;
  return {content, thumbnail};
}
