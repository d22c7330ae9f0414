#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <variant>

#include "photocloud/accounts/passwords.h"
#include "photocloud/base/clock.h"
#include "photocloud/base/errorcode.h"
#include "photocloud/store/metadatastore.h"

namespace photocloud {

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

  std::variant<Tokens, ErrorCode> Login(const std::string& userName, const std::string& loginSecret,
                                        const std::string& deviceId);
  std::variant<Tokens, ErrorCode> Refresh(const std::string& refreshToken);
  void Logout(const Caller& caller) { store.RemoveSession(caller.sessionId); }

  std::variant<Caller, ErrorCode> Authenticate(const std::string& accessToken);

  // Drops sessions that cannot be refreshed any more.
  void SweepSessions() { store.RemoveSessionsBefore(clock.NowMs()); }

 private:
  struct Failures {
    int count = 0;
    std::int64_t untilMs = 0;
  };

  bool IsThrottled(const std::string& userName);
  void CountFailure(const std::string& userName);
  Tokens Renew(Session& session, const Account& account) const;

  MetadataStore& store;
  const Clock& clock;
  const PasswordCost cost;
  const std::string strangerVerifier;

  std::mutex failuresLock;
  std::map<std::string, Failures> failures;  // Guarded by failuresLock.
};

}  // namespace photocloud
