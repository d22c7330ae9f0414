#include "testcloud.h"

#include <sodium.h>

#include "photocloud/base/digest.h"
#include "photocloud/base/json.h"
#include "photocloud/base/text.h"

namespace photocloud::testing {

namespace fs = std::filesystem;

[[maybe_unused]] static const int kSodiumReady = sodium_init();

TempFolder::TempFolder() : path(fs::temp_directory_path() / ("photocloud-" + RandomId())) {
  fs::create_directories(path);
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  fs::remove_all(path, ignored);
}

Json::Value Json(const std::string& text) {
  const auto value = ParseJson(text);
  EXPECT_TRUE(value) << text;
  return value.value_or(Json::Value());
}

std::string Reply::Code() const { return TextOf(json["error"]["errors"][0], "code"); }

ServiceSettings TestCloud::SmallSettings() {
  ServiceSettings settings;
  settings.content.sliceSize = 64;
  settings.content.maxFileBytes = 1 << 20;
  settings.content.maxThumbnailBytes = 4096;
  settings.maxBatchNumber = 5;
  return settings;
}

TestCloud::TestCloud(ServiceSettings settings)
    : store(folder.path / "photocloud.db"),
      objects(folder.path / "objects"),
      services(store, objects, clock, settings, PasswordCost::Least),
      router((services.faults = std::make_unique<FaultPlan>(), services)) {}

Reply TestCloud::CallRaw(Request request) {
  Reply reply;
  // As the server does it: the head first, then the body to where it is wanted.
  const BodyNotice notice{!request.body.empty(), static_cast<std::int64_t>(request.body.size())};
  const Intake intake = router.Admit(request, notice);
  request.refusal = intake.refusal;
  request.sink = intake.sink;
  if (intake.sink && intake.sink->Write(request.body)) request.body.clear();
  reply.raw = router.Handle(request);
  reply.status = reply.raw.status;
  if (reply.raw.contentType == "application/json") reply.json = Json(reply.raw.body);
  return reply;
}

Reply TestCloud::Call(const Device& device, const std::string& method, const std::string& target,
                      const Json::Value& body, const std::map<std::string, std::string>& headers) {
  Request request;
  request.method = method;
  EXPECT_TRUE(request.SetTarget(target)) << target;
  request.baseUrl = "http://cloud";
  request.headers = headers;
  if (!device.token.empty()) request.headers["authorization"] = "Bearer " + device.token;
  if (!device.name.empty()) request.headers["x-zt-device-id"] = device.name;
  if (!device.lock.empty()) request.headers["x-zt-lock"] = device.lock;
  request.body = body.isString() ? body.asString() : body.isNull() ? "" : WriteJson(body);
  return CallRaw(request);
}

void TestCloud::AddUser(const std::string& user, std::int64_t quotaBytes) {
  ASSERT_TRUE(services.accounts.Create(user, "secret of " + user, quotaBytes));
}

Device TestCloud::Login(const std::string& user, const std::string& deviceName) {
  const Reply reply = Call({}, "POST", "/cloudPhoto/v1/auth/login",
                           Json(R"({"userName":")" + user + R"(","password":"secret of )" + user + R"("})"));
  EXPECT_EQ(reply.status, 200) << reply.raw.body;
  return {deviceName, TextOf(reply.json, "accessToken"), ""};
}

void TestCloud::TakeLock(Device& device) {
  const Reply reply = Call(device, "GET", "/cloudPhoto/v1/locks?token=");
  EXPECT_EQ(reply.status, 200) << reply.raw.body;
  device.lock = TextOf(reply.json, "token");
}

Device TestCloud::Writer(const std::string& user, const std::string& deviceName) {
  Device device = Login(user, deviceName);
  TakeLock(device);
  return device;
}

std::string TestCloud::MakeAlbum(const Device& device, const std::string& id, const std::string& name) {
  Json::Value body(Json::objectValue);
  body["id"] = id;
  body["albumName"] = name;
  const Reply reply = Call(device, "POST", "/cloudPhoto/v1/albums", body);
  EXPECT_EQ(reply.status, 200) << reply.raw.body;
  return id;
}

std::string TestCloud::MakeMedia(const Device& device, const std::string& fileName,
                                 const std::string& createdTime) {
  Json::Value body(Json::objectValue);
  body["fileName"] = fileName;
  body["albumId"] = "default-album-1";
  body["createdTime"] = createdTime;
  const Reply made = Call(device, "POST", "/cloudPhoto/v1/media?mode=temp", body);
  EXPECT_EQ(made.status, 200) << made.raw.body;
  const std::string id = TextOf(made.json, "id");
  const Reply shown = Call(device, "PATCH", "/cloudPhoto/v1/media/" + id + "?mode=normal", Json("{}"));
  EXPECT_EQ(shown.status, 200) << shown.raw.body;
  return id;
}

std::string TestCloud::Version(const Device& device) {
  return TextOf(Call(device, "GET", "/cloudPhoto/v1/changes/getStartCursor").json, "startCursor");
}

CloudTest::CloudTest() {
  cloud.AddUser("anna");
  anna = cloud.Writer("anna", "desktop");
}

std::string TargetOf(const std::string& url) { return url.substr(url.find('/', url.find("//") + 2)); }

Json::Value UploadBody(const std::string& fileName, const std::string& content, const std::string& small,
                       const std::string& large) {
  Json::Value body(Json::objectValue);
  body["fileName"] = fileName;
  body["albumId"] = "default-album-1";
  body["createdTime"] = "2024-05-01T10:20:30";
  Json::Value picture(Json::objectValue);
  picture["usage"] = "content";
  picture["asset"]["cipher"]["iv"] = "00";
  picture["asset"]["resource"]["hash"] = HmacSha256Hex("mk2", content) + std::string(64, '0');
  picture["asset"]["resource"]["length"] = Json::Int64(content.size());
  picture["asset"]["resource"]["sha256"] = Sha256Hex(content);
  Json::Value thumbnail(Json::objectValue);
  thumbnail["usage"] = "thumbnail";
  thumbnail["asset"]["cipher"]["iv"] = "01";
  thumbnail["asset"]["attributes"]["length"]["small"] = Json::Int64(small.size());
  thumbnail["asset"]["attributes"]["length"]["large"] = Json::Int64(large.size());
  thumbnail["asset"]["resource"]["hash"] = HmacSha256Hex("mk2", small + large) + std::string(64, '0');
  thumbnail["asset"]["resource"]["length"] = Json::Int64(small.size() + large.size());
  thumbnail["asset"]["resource"]["sha256"] = Sha256Hex(small + large);
  body["attachments"].append(picture);
  body["attachments"].append(thumbnail);
  return body;
}

std::string Sealed(const std::string& plain, std::size_t length) {
  std::string sealed = plain;
  sealed.resize(length, '\x10');
  for (char& byte : sealed) byte = static_cast<char>(byte ^ 0x5A);
  return sealed;
}

namespace {

std::string RevisionPath(const Json::Value& media, const Json::Value& asset) {
  return "/cloudPhoto/v1/media/" + TextOf(media, "id") + "/assets/" + TextOf(asset, "id") + "/revisions/" +
         TextOf(asset, "versionId");
}

Json::Value SliceBody(const Json::Value& asset, const Json::Value& object, const std::string& bytes) {
  Json::Value body(Json::objectValue);
  body["resource"]["hash"] = asset["resource"]["hash"];
  body["resource"]["sha256"] = asset["resource"]["sha256"];
  body["resource"]["objects"][0]["objectId"] = object["id"];
  body["resource"]["objects"][0]["md5"] = Md5Hex(bytes);
  body["resource"]["objects"][0]["sha256"] = Sha256Hex(bytes);
  return body;
}

Json::Value StateBody(const Json::Value& object, bool isLast) {
  Json::Value body(Json::objectValue);
  body["resource"]["objects"][0]["objectId"] = object["id"];
  body["resource"]["objects"][0]["uploadStatus"]["status"] = 200;
  if (isLast) body["state"] = 0;
  return body;
}

}  // namespace

int SendObjects(TestCloud& cloud, const Device& device, const Json::Value& media, const std::string& content,
                const std::string& small, const std::string& large) {
  int sent = 0;
  for (const Json::Value& attachment : media["attachments"]) {
    const Json::Value& asset = attachment["asset"];
    const Json::Value& objects = asset["resource"]["objects"];
    for (Json::ArrayIndex i = 0; i < objects.size(); ++i) {
      const auto start = static_cast<std::size_t>(objects[i]["start"].asInt64());
      const auto length = static_cast<std::size_t>(objects[i]["length"].asInt64());
      const auto slice = static_cast<std::size_t>(asset["resource"]["sliceSize"].asInt64());
      const std::string plain =
          attachment["usage"] == "content" ? content.substr(start, slice) : small + large;
      const std::string bytes = Sealed(plain, length);
      const Reply announced =
          cloud.Call(device, "POST", RevisionPath(media, asset), SliceBody(asset, objects[i], bytes));
      EXPECT_EQ(announced.status, 200) << announced.raw.body;
      const Json::Value& target = announced.json["resource"]["objects"][i];
      if (target["state"] == 2) {
        const Reply put = cloud.Call({}, "PUT", TargetOf(target["uploadUrl"]["url"].asString()), bytes);
        EXPECT_EQ(put.status, 200) << put.raw.body;
        ++sent;
      }
      const Reply state = cloud.Call(device, "POST", RevisionPath(media, asset),
                                     StateBody(objects[i], i + 1 == objects.size()));
      EXPECT_EQ(state.status, 200) << state.raw.body;
    }
  }
  return sent;
}

std::string Upload(TestCloud& cloud, const Device& device, const std::string& fileName,
                   const std::string& content) {
  const std::string small = "s" + content.substr(0, 20);
  const std::string large = "l" + content.substr(0, 40);
  const Reply made = cloud.Call(device, "POST", "/cloudPhoto/v1/media?mode=temp",
                                UploadBody(fileName, content, small, large));
  EXPECT_EQ(made.status, 200) << made.raw.body;
  SendObjects(cloud, device, made.json, content, small, large);
  const std::string id = TextOf(made.json, "id");
  const Reply shown = cloud.Call(device, "PATCH", "/cloudPhoto/v1/media/" + id + "?mode=normal", Json("{}"));
  EXPECT_EQ(shown.status, 200) << shown.raw.body;
  return id;
}

}  // namespace photocloud::testing
