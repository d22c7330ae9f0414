#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "photocloud/accounts/loginthrottle.h"
#include "photocloud/accounts/passwords.h"
#include "photocloud/base/clock.h"
#include "photocloud/base/errorcode.h"
#include "photocloud/base/mutex.h"
#include "photocloud/store/metadatastore.h"

namespace photocloud {

constexpr std::size_t kLongestUserName = 200;

// What a login or a refresh hands out. The texts exist here and at the caller
// only; the store keeps their digests.
struct Tokens {
  std::string accessToken;
  std::int64_t accessSeconds = 0;
  std::string refreshToken;
  std::int64_t refreshSeconds = 0;
  std::string userId;
  std::string userName;
};

// Who sends a request.
struct Caller {
  Account account;
  std::int64_t sessionId = 0;
  std::string deviceId;
};

// What a device sends to change its account's password.
struct PasswordChange {
  std::string currentSecret;
  std::string newSecret;
  std::string keys;             // JSON, sealed under the new password.
  std::int64_t ifRevision = 0;  // Of the keys that these replace.
  std::string address;          // Of the device.
};

struct LoginAttempt {
  std::string userName;
  std::string loginSecret;
  std::string deviceId;
  std::string address;
};

// The answer has to wait for `waitMs`, right or wrong.
struct LoginResult {
  std::variant<Tokens, ErrorCode> outcome;
  std::int64_t waitMs = 0;
};

struct PasswordResult {
  std::variant<WrappedKeys, ErrorCode> outcome;
  std::int64_t waitMs = 0;
};

// Accounts and their sessions. A device proves that it knows the password by its
// login secret (loginsecret.h); the password itself opens the account's keys and is
// none of the service's business. Safe to call from any thread.
class AccountService {
 public:
  AccountService(MetadataStore& store, const Clock& clock, PasswordCost cost);

  // Makes an account with the cloud's own albums in it. Returns false when the
  // name is taken, empty, or longer than 200 bytes, or the secret is empty.
  bool Create(const std::string& userName, const std::string& loginSecret, std::int64_t quotaBytes);
  // Takes effect on the next request, also on a server that runs meanwhile.
  bool SetDisabled(const std::string& userName, bool disabled);
  // Switches the service off for an account: it can be read and takes nothing more. Its
  // devices are told, and that its data go after so many days; 0 tells no time. Nothing
  // goes by itself.
  bool Suspend(const std::string& userName, int deleteDays);
  bool Resume(const std::string& userName);

  LoginResult Login(const LoginAttempt& attempt);
  std::variant<Tokens, ErrorCode> Refresh(const std::string& refreshToken);

  // The sessions of the caller's account that can go on, newest use first.
  std::vector<Session> ListSessions(const Caller& caller);
  // Returns false when the account has no such session.
  bool EndSession(const Caller& caller, std::int64_t id) {
    return store.RemoveSession(caller.account.id, id);
  }

  // Takes a new login secret and keys that are sealed anew in one step, and ends
  // all other sessions of the account. Proven by the secret in force; wrong ones
  // count as those of a login. Repeated after a lost answer it says the same
  // again. Returns the keys as they are stored now.
  PasswordResult ChangePassword(const Caller& caller, const PasswordChange& change);

  std::variant<Caller, ErrorCode> Authenticate(const std::string& accessToken);

  // Stores when sessions were used, and drops those that cannot be refreshed any
  // more.
  void SweepSessions();

 private:
  bool SetSuspended(const std::string& userName, std::int64_t sinceMs, std::int64_t deleteMs);
  Tokens Renew(Session& session, const Account& account) const;
  std::variant<WrappedKeys, ErrorCode> StoreChange(const Caller& caller, const PasswordChange& change,
                                                   const std::string& verifier);
  bool IsRepeated(const Account& account, const PasswordChange& change, const WrappedKeys& stored) const;

  MetadataStore& store;
  const Clock& clock;
  const PasswordCost cost;
  const std::string strangerVerifier;

  LoginThrottle throttle;

  Mutex usesLock;
  // When sessions were used since the last sweep. A row for each request would make
  // every reader a writer.
  std::map<std::int64_t, std::int64_t> uses GUARDED_BY(usesLock);
};

}  // namespace photocloud
