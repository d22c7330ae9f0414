#include "accountapi.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "photocloud/base/json.h"

using photocloud::ParseJson;
using photocloud::WriteJson;
using photocloud::testing::HttpConnection;
using photocloud::testing::HttpReply;

namespace {

constexpr char kDevice[] = "another-device";

std::string Text(const std::string& text) {
  std::string escaped = "\"";
  for (const char c : text) escaped += c == '"' || c == '\\' ? std::string{'\\', c} : std::string{c};
  return escaped + "\"";
}

// "2024-05-01T10:20:30.123Z" in milliseconds since 1970.
std::int64_t Milliseconds(const std::string& text) {
  std::tm time{};
  const char* rest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &time);
  EXPECT_NE(rest, nullptr) << text;
  const double fraction = rest && *rest == '.' ? std::atof(rest) : 0;
  return static_cast<std::int64_t>(timegm(&time)) * 1000 + static_cast<std::int64_t>(fraction * 1000 + 0.5);
}

std::string Decoded(const std::string& query) {
  std::string text;
  for (std::size_t i = 0; i < query.size(); ++i) {
    if (query[i] == '%' && i + 2 < query.size()) {
      text += static_cast<char>(std::strtol(query.substr(i + 1, 2).c_str(), nullptr, 16));
      i += 2;
    } else {
      text += query[i];
    }
  }
  return text;
}

Json::Value PropertiesOf(const Json::Value& record) {
  return record["properties"].isObject() ? record["properties"] : Json::Value(Json::objectValue);
}

// What a device sends for alice's password "wonderland"; made with the command
// that stands in passwordkeys_test.
constexpr char kLoginSecret[] = "61d8056e8d26e1639ef03eeec0e707e4d0c5a357a9fed7fc23be7aa1bf2fc2ca";

}  // namespace

CloudProcess::CloudProcess(const std::vector<std::string>& more) {
  using namespace photocloud::testing;
  const std::string folder = data.Path().string();
  const auto added = RunProgram(
      {PHOTOCLOUD_PROGRAM, "user", "add", "alice", "--data", folder, "--fast-password"}, "wonderland\n");
  EXPECT_EQ(added.status, 0) << added.output;
  options.insert(options.end(), more.begin(), more.end());
  Serve();
}

void CloudProcess::Serve() {
  server =
      std::make_unique<photocloud::testing::ServerProcess>(PHOTOCLOUD_PROGRAM, data.Path().string(), options);
  EXPECT_GT(Port(), 0) << server->FirstLine();
}

void CloudProcess::BackUp(const std::filesystem::path& folder) const {
  const auto done = photocloud::testing::RunProgram(
      {PHOTOCLOUD_PROGRAM, "backup", "--data", data.Path().string(), "--to", folder.string()});
  EXPECT_EQ(done.status, 0) << done.output;
}

void CloudProcess::PutBack(const std::filesystem::path& folder) {
  server.reset();
  for (const auto& entry : std::filesystem::directory_iterator(data.Path()))
    std::filesystem::remove_all(entry.path());
  std::filesystem::copy(folder, data.Path(), std::filesystem::copy_options::recursive);
  Serve();
}

Json::Value CloudProcess::Control(const std::string& method, const std::string& path,
                                  const std::string& body) const {
  HttpConnection connection(Port());
  const HttpReply reply = connection.Call(method, path, body, {{"Content-Type", "application/json"}});
  EXPECT_EQ(reply.status, 200) << path << " " << body << " " << reply.body;
  return reply.json;
}

void CloudProcess::Action(const std::string& action, const std::string& more) const {
  (void)Control("POST", "/faults/actions", R"({"userName":"alice","action":")" + action + "\"" + more + "}");
}

std::vector<SeenRequest> CloudProcess::Requests() const {
  constexpr std::string_view kPrefix = "/cloudPhoto/v1/";
  std::vector<SeenRequest> requests;
  const Json::Value answer = Control("GET", "/faults/requests", {});
  for (const Json::Value& seen : answer["requests"]) {
    std::string path = seen["path"].asString();
    if (path.starts_with(kPrefix)) path.erase(0, kPrefix.size());
    requests.push_back({seen["method"].asString(), path, Decoded(seen["query"].asString()),
                        seen["device"].asString(), seen["inBatch"].asBool(), seen["status"].asInt()});
  }
  return requests;
}

void CloudProcess::AwaitRequest(const std::string& path, const std::string& device) const {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (std::chrono::steady_clock::now() < deadline) {
    for (const auto& request : Requests()) {
      const bool isFromDevice = device.empty() || request.device == device;
      if (isFromDevice && request.path == path && request.status == 200) return;
    }
  }
  ADD_FAILURE() << "no request " << path;
}

AccountApi::AccountApi(const CloudProcess& cloudProcess) : cloud(cloudProcess) {
  const HttpReply reply =
      Call("POST", "/auth/login", R"({"userName":"alice","password":")" + std::string(kLoginSecret) + "\"}");
  token = reply.json["accessToken"].asString();
  EXPECT_FALSE(token.empty()) << reply.body;
}

HttpReply AccountApi::Call(const std::string& method, const std::string& path, const std::string& body) {
  HttpConnection connection(cloud.Port());
  std::map<std::string, std::string> headers = {{"Content-Type", "application/json"},
                                                {"x-zt-device-id", kDevice}};
  if (!token.empty()) headers["Authorization"] = "Bearer " + token;
  if (!lock.empty()) headers["x-zt-lock"] = lock;
  return connection.Call(method, "/cloudPhoto/v1" + path, body, headers);
}

void AccountApi::TakeLock() {
  const HttpReply reply = Call("GET", "/locks?token=");
  EXPECT_EQ(reply.status, 200) << reply.body;
  lock = reply.json["token"].asString();
}

void AccountApi::GiveLockBack() {
  EXPECT_EQ(Call("DELETE", "/locks?token=" + lock).status, 200);
  lock.clear();
}

HttpReply AccountApi::Write(const std::string& method, const std::string& path, const std::string& body) {
  const bool held = !lock.empty();
  if (!held) TakeLock();
  HttpReply reply = Call(method, path, body);
  if (!held) GiveLockBack();
  return reply;
}

std::string AccountApi::AddAlbum(const std::string& id, const std::string& name) {
  return Write("POST", "/albums", R"({"id":)" + Text(id) + R"(,"albumName":)" + Text(name) + "}")
      .json["id"]
      .asString();
}

bool AccountApi::RenameAlbum(const std::string& id, const std::string& name) {
  return Write("PATCH", "/albums/" + id, R"({"albumName":)" + Text(name) + "}").status == 200;
}

bool AccountApi::DeleteAlbum(const std::string& id) {
  return Write("DELETE", "/albums/" + id, {}).status == 200;
}

std::string AccountApi::AddMedia(const std::string& name, const std::string& album, const std::string& more) {
  const bool held = !lock.empty();
  if (!held) TakeLock();
  const std::string body = R"({"fileName":)" + Text(name) + R"(,"albumId":)" + Text(album) +
                           R"(,"fileType":1,"size":1000)" + more + "}";
  const std::string id = Call("POST", "/media?mode=temp&fields=id", body).json["id"].asString();
  if (!id.empty()) {
    EXPECT_EQ(Call("PATCH", "/media/" + id + "?mode=normal&fields=id", "{}").status, 200);
  }
  if (!held) GiveLockBack();
  return id;
}

bool AccountApi::Change(const std::string& id, const std::string& body) {
  return Write("PATCH", "/media/" + id, body).status == 200;
}

bool AccountApi::Delete(const std::string& id) { return Write("DELETE", "/media/" + id, {}).status == 200; }

std::vector<Json::Value> AccountApi::All(const std::string& path, const char* member) {
  std::vector<Json::Value> all;
  std::string cursor;
  do {
    const HttpReply reply = Call("GET", path + "?cursor=" + cursor);
    EXPECT_EQ(reply.status, 200) << reply.body;
    for (const Json::Value& record : reply.json[member]) all.push_back(record);
    cursor = reply.json["nextCursor"].asString();
  } while (!cursor.empty());
  return all;
}

Json::Value AccountApi::Dump() {
  Json::Value dump(Json::objectValue);
  dump["albums"] = Json::Value(Json::objectValue);
  dump["files"] = Json::Value(Json::objectValue);
  for (const Json::Value& album : All("/albums", "albums")) {
    if (album["id"] == "default-album-3") continue;  // The bin is no album that devices list.
    Json::Value& entry = dump["albums"][album["id"].asString()];
    entry["name"] = album["albumName"];
    entry["properties"] = PropertiesOf(album);
  }
  for (const Json::Value& media : All("/media", "media")) {
    Json::Value& entry = dump["files"][media["id"].asString()];
    entry["name"] = media["fileName"];
    entry["album"] = media["albumId"];
    entry["bin"] = media["recycled"].asBool();
    entry["favorite"] = media["favorite"].asBool();
    entry["size"] = Json::Int64(media["size"].asInt64());
    entry["createTime"] = Json::Int64(Milliseconds(media["createdTime"].asString()));
    entry["properties"] = PropertiesOf(media);
  }
  return dump;
}

std::int64_t AccountApi::Version() {
  return std::atoll(Call("GET", "/changes/getStartCursor").json["startCursor"].asString().c_str());
}

bool AccountApi::IsLocked() {
  const HttpReply reply = Call("GET", "/locks?token=");
  if (reply.status != 200) return true;
  lock = reply.json["token"].asString();
  GiveLockBack();
  return false;
}
