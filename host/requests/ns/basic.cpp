#include "host/requests/ns/basic.h"

#include "host/base/jsontext.h"
#include "host/requests/curlppx.h"

namespace NS::Basic {
namespace {

using curlppx::CurlUrl;

std::string Path(const std::string& rest) { return std::string("/cloudPhoto/v1").append(rest); }

template <typename Record>
Call<Record> Open(const std::string& server, const char* method, const char* path) {
  Call<Record> call;
  call.method = method;
  call.uri = Path(path);
  call.baseUrl = server;
  call.open = true;
  return call;
}

template <typename Record>
Call<Record> Get(const std::string& pathAndQuery) {
  Call<Record> call;
  call.uri = Path(pathAndQuery);
  return call;
}

}  // namespace

bool Read(const Json::Value& json, Tokens& tokens) {
  tokens.accessToken = JsonText::Text(json, "accessToken");
  tokens.refreshToken = JsonText::Text(json, "refreshToken");
  tokens.expiresIn = JsonText::Number(json, "expiresIn");
  tokens.userId = JsonText::Text(json, "userId");
  tokens.userName = JsonText::Text(json, "userName");
  return !tokens.accessToken.empty() && !tokens.userId.empty();
}

Call<Tokens> Session::Login(const std::string& server, const std::string& userName,
                            const std::string& loginSecret, const std::string& deviceId) {
  auto call = Open<Tokens>(server, "POST", "/auth/login");
  call.body["userName"] = userName;
  call.body["password"] = loginSecret;
  call.body["deviceId"] = deviceId;
  return call;
}

Call<Tokens> Session::Refresh(const std::string& server, const std::string& refreshToken) {
  auto call = Open<Tokens>(server, "POST", "/auth/refresh");
  call.body["refreshToken"] = refreshToken;
  return call;
}

SingleRequest Session::Logout() {
  SingleRequest request;
  request.method = "POST";
  request.uri = Path("/auth/logout");
  request.body = Json::Value(Json::objectValue);
  return request;
}

SingleRequest Session::Logout(const std::string& server, const std::string& accessToken) {
  SingleRequest request = Logout();
  request.baseUrl = server;
  request.open = true;
  request.accessToken = accessToken;
  return request;
}

bool Read(const Json::Value& json, KeysRecord& record) {
  record.keys = JsonText::Object(json, "keys");
  record.revision = JsonText::Number(json, "revision", -1);
  return record.revision >= 0;
}

Call<KeysRecord> KeysReq::Get(const std::string& server, const std::string& accessToken) {
  auto call = Open<KeysRecord>(server, "GET", "/keys");
  call.accessToken = accessToken;
  return call;
}

Call<KeysRecord> KeysReq::Put(const std::string& server, const std::string& accessToken,
                              const Json::Value& keys, std::int64_t ifRevision) {
  auto call = Open<KeysRecord>(server, "PUT", "/keys");
  call.accessToken = accessToken;
  call.body["keys"] = keys;
  call.body["ifRevision"] = Json::Int64{ifRevision};
  return call;
}

bool Read(const Json::Value& json, SessionList& list) {
  if (!json["sessions"].isArray()) return false;
  for (const Json::Value& item : json["sessions"]) {
    SessionRecord record;
    record.id = JsonText::Text(item, "id");
    record.deviceId = JsonText::Text(item, "deviceId");
    record.createdMs = JsonText::Number(item, "createdTime");
    record.lastUsedMs = JsonText::Number(item, "lastUsedTime");
    record.current = item.isObject() && item["current"].isBool() && item["current"].asBool();
    if (record.id.empty()) return false;
    list.sessions.push_back(std::move(record));
  }
  return true;
}

Call<SessionList> SessionsReq::Get() { return Basic::Get<SessionList>("/sessions"); }

SingleRequest SessionsReq::End(const std::string& id) {
  SingleRequest request;
  request.method = "DELETE";
  request.uri = Path("/sessions/" + CurlUrl::Escape(id));
  return request;
}

Call<KeysRecord> PasswordReq::Change(const std::string& loginSecret, const std::string& newLoginSecret,
                                     const Json::Value& keys, std::int64_t ifRevision) {
  Call<KeysRecord> call;
  call.method = "POST";
  call.uri = Path("/auth/password");
  call.body["password"] = loginSecret;
  call.body["newPassword"] = newLoginSecret;
  call.body["keys"] = keys;
  call.body["ifRevision"] = Json::Int64{ifRevision};
  return call;
}

bool Read(const Json::Value& json, UserRegisterInfo& info) {
  info.userId = JsonText::Text(json, "userId");
  info.userStatus = JsonText::Text(json, "userStatus");
  return true;
}

Call<UserRegisterInfo> UserRegisterInfoQuery::Get(const std::string& countryCode, const std::string& fields) {
  return Basic::Get<UserRegisterInfo>(
      "/users/registerInfo?" + CurlUrl::BuildQuery({{"countryCode", countryCode}, {"fields", fields}}));
}

bool Read(const Json::Value& json, Quota& quota) {
  quota.totalSpace = JsonText::Number(json, "totalSpace", -1);
  quota.usedSpace = JsonText::Number(json, "usedSpace", -1);
  quota.freeSpace = JsonText::Number(json, "freeSpace", -1);
  return quota.totalSpace >= 0 && quota.freeSpace >= 0;
}

Call<Quota> QuotaQuery::Get() { return Basic::Get<Quota>("/quota"); }

bool Read(const Json::Value& json, ServerTime& time) {
  time.seconds = JsonText::Number(json, "serverTime");
  return time.seconds > 0;
}

Call<ServerTime> ServerTimeQuery::Get(const std::string& server) {
  return Open<ServerTime>(server, "GET", "/time");
}

}  // namespace NS::Basic
