#pragma once

#include <cstdint>
#include <string>

#include "host/ns/request.h"

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
  static Call<Tokens> Login(const std::string& server, const std::string& userName,
                            const std::string& password, const std::string& deviceId);
  static Call<Tokens> Refresh(const std::string& server, const std::string& refreshToken);
  static SingleRequest Logout();
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
