#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/requests/ns/request.h"

// Requests about sessions and accounts.
namespace NS::Basic {

struct Tokens {
  std::string accessToken;
  std::string refreshToken;
  std::int64_t expiresIn = 0;  // seconds
  std::string userId;
  std::string userName;
};
bool Read(const Json::Value& json, Tokens& tokens);

class Session {
 public:
  // `loginSecret` travels as "password"; see PasswordKeys.
  static Call<Tokens> Login(const std::string& server, const std::string& userName,
                            const std::string& loginSecret, const std::string& deviceId);
  static Call<Tokens> Refresh(const std::string& server, const std::string& refreshToken);
  static SingleRequest Logout();
  // Of a session that is not the present one.
  static SingleRequest Logout(const std::string& server, const std::string& accessToken);
};

// The keys of an account as the service holds them.
struct KeysRecord {
  Json::Value keys;           // sealed; null when there are none
  std::int64_t revision = 0;  // 0 when there are none
};
bool Read(const Json::Value& json, KeysRecord& record);

// Both for a session that need not be the present one's.
class KeysReq {
 public:
  static Call<KeysRecord> Get(const std::string& server, const std::string& accessToken);
  // Refused with 31084093 when `ifRevision` is not the present revision.
  static Call<KeysRecord> Put(const std::string& server, const std::string& accessToken,
                              const Json::Value& keys, std::int64_t ifRevision);
};

// A session of the account at the service.
struct SessionRecord {
  std::string id;
  std::string deviceId;
  std::int64_t createdMs = 0;   // since 1970
  std::int64_t lastUsedMs = 0;  // exact to a minute
  bool current = false;         // it is this one
};
struct SessionList {
  std::vector<SessionRecord> sessions;  // newest use first
};
bool Read(const Json::Value& json, SessionList& list);

class SessionsReq {
 public:
  static Call<SessionList> Get();
  // Refused with 31084042 when the account has none of that id.
  static SingleRequest End(const std::string& id);
};

class PasswordReq {
 public:
  // Changes the login secret and the sealed keys in one step and ends all other
  // sessions. Refused with 31084093 when `ifRevision` is not the present revision. A
  // repeat whose first answer was lost is answered as that one.
  static Call<KeysRecord> Change(const std::string& loginSecret, const std::string& newLoginSecret,
                                 const Json::Value& keys, std::int64_t ifRevision);
};

struct UserRegisterInfo {
  std::string userId;
  std::string userStatus;  // "N" normal, "W" silent
};
bool Read(const Json::Value& json, UserRegisterInfo& info);

class UserRegisterInfoQuery {
 public:
  static Call<UserRegisterInfo> Get(const std::string& countryCode, const std::string& fields);
};

// Bytes.
struct Quota {
  std::int64_t totalSpace = 0;
  std::int64_t usedSpace = 0;
  std::int64_t freeSpace = 0;
};
bool Read(const Json::Value& json, Quota& quota);

class QuotaQuery {
 public:
  static Call<Quota> Get();
};

struct ServerTime {
  std::int64_t seconds = 0;  // since 1970
};
bool Read(const Json::Value& json, ServerTime& time);

class ServerTimeQuery {
 public:
  static Call<ServerTime> Get(const std::string& server);
};

}  // namespace NS::Basic
