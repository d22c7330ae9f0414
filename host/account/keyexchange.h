#pragma once

#include <json/value.h>

#include <string>

#include "host/account/passwordkeys.h"
#include "host/requests/ns/basic.h"

// Brings the keys of an account from device to device by way of the photo cloud,
// which stores them sealed and counts their revisions. For one thread; waits for
// the service.
class KeyExchange {
 public:
  enum class Result {
    Done,
    Unreachable,  // the service did not answer, or refused
    Unreadable,   // its keys cannot be opened, or this device's are no keys
    InUse,        // contents lie at the service under other keys
  };

  // An open session: where, with which access token, as whom.
  struct Session {
    std::string server;
    std::string accessToken;
    std::string userId;
  };

  KeyExchange(Session openSession, const PasswordKeys::WrapKey& wrapKey);

  // Puts the keys that count into `account`: those of the service, or, where it
  // has none, the account's own (made where missing), which are at the service
  // before this returns. On any result but Done, logged, `account` is unchanged.
  Result Bring(Json::Value& account) const;
  // Done when no content becomes unreadable by `keys` in place of `own`, those of
  // this device, and of the service's.
  Result MayReplace(const Json::Value& keys, const Json::Value& own) const;
  // Puts `keys`, which are whole, in place of those of the service.
  Result Replace(const Json::Value& keys) const;

 private:
  enum class Stored { Yes, Conflict, No };

  NS::Answer<NS::Basic::KeysRecord> Fetch() const;
  Stored Store(const Json::Value& keys, std::int64_t ifRevision) const;
  Result Adopt(const Json::Value& record, Json::Value& account) const;

  const Session session;
  const PasswordKeys::WrapKey& wrapKey;
};
