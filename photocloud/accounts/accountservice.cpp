#include "photocloud/accounts/accountservice.h"

#include <algorithm>

#include "photocloud/base/digest.h"
#include "photocloud/base/json.h"
#include "photocloud/base/log.h"
#include "photocloud/base/text.h"
#include "photocloud/base/timetext.h"

namespace photocloud {
namespace {

// Short, because a stolen one works until then.
constexpr std::int64_t kAccessSeconds = 3600;
// A device that stays off for a month asks for the password again.
constexpr std::int64_t kRefreshSeconds = 30LL * 24 * 3600;
// For a device that lost the answer of its refresh.
constexpr std::int64_t kPreviousRefreshMs = 60LL * 1000;

constexpr std::int64_t kDayMs = std::int64_t{24} * 3600 * 1000;

struct OwnAlbum {
  const char* id;
  const char* type;
};

// Albums that every account has from its start. The bin is of another type, so
// that lists of ordinary albums leave it out. Devices show names of their own
// for them; here the id stands in, so that no name of a user's album is taken.
constexpr OwnAlbum kOwnAlbums[] = {
    {"default-album-1", "0"}, {"default-album-2", "0"}, {"default-album-3", "4"}};

std::string NewToken() { return ToBase64Url(RandomBytes(32)); }

void AddOwnAlbums(MetadataStore& store, std::int64_t account, std::int64_t nowMs) {
  for (const OwnAlbum& own : kOwnAlbums) {
    AlbumRecord album;
    album.id = own.id;
    album.albumName = own.id;
    album.type = own.type;
    album.createdMs = nowMs;
    album.createdTime = FormatTime(nowMs);
    album.properties = "{}";
    store.PutAlbum(account, album);
  }
}

// With the number and not the name, which may be a password that was typed into
// the wrong field.
void LogRefusal(const std::string& account, const std::string& address) {
  Log(LogLevel::Warning, "login refused", {{"account", account}, {"address", address}});
}

}  // namespace

AccountService::AccountService(MetadataStore& metadataStore, const Clock& serviceClock,
                               PasswordCost passwordCost)
    : store(metadataStore),
      clock(serviceClock),
      cost(passwordCost),
      strangerVerifier(MakeVerifier(NewToken(), passwordCost)),
      throttle(serviceClock) {}

bool AccountService::Create(const std::string& userName, const std::string& loginSecret,
                            std::int64_t quotaBytes) {
  if (userName.empty() || userName.size() > kLongestUserName || !IsPlainText(userName) ||
      loginSecret.empty()) {
    return false;
  }
  Account account;
  account.userId = RandomId();
  account.userName = userName;
  account.verifier = MakeVerifier(loginSecret, cost);
  account.quotaBytes = quotaBytes;
  if (account.verifier.empty()) return false;
  return store.Atomically([&] {
    const auto id = store.InsertAccount(account);
    if (id) AddOwnAlbums(store, *id, clock.NowMs());
    return id.has_value();
  });
}

bool AccountService::SetDisabled(const std::string& userName, bool disabled) {
  return store.Atomically([&] {
    auto account = store.FindAccountByName(userName);
    if (!account) return false;
    account->disabled = disabled;
    store.UpdateAccount(*account);
    if (disabled) store.RemoveSessionsOf(account->id, 0);
    return true;
  });
}

bool AccountService::Suspend(const std::string& userName, int deleteDays) {
  const std::int64_t now = clock.NowMs();
  return SetSuspended(userName, now, deleteDays > 0 ? now + deleteDays * kDayMs : 0);
}

bool AccountService::Resume(const std::string& userName) { return SetSuspended(userName, 0, 0); }

bool AccountService::SetSuspended(const std::string& userName, std::int64_t sinceMs, std::int64_t deleteMs) {
  return store.Atomically([&] {
    auto account = store.FindAccountByName(userName);
    if (!account) return false;
    account->suspendedMs = sinceMs;
    account->deleteMs = deleteMs;
    store.UpdateAccount(*account);
    return true;
  });
}

LoginResult AccountService::Login(const LoginAttempt& attempt) {
  if (attempt.userName.size() > kLongestUserName) return {ErrorCode::LoginRefused};
  const std::string name = ToLower(attempt.userName);
  const auto wait = throttle.Enter(name, attempt.address);
  if (!wait) return {ErrorCode::TooManyRequests};
  const auto account = store.FindAccountByName(attempt.userName);
  // An unknown name costs as much time as a wrong password, so that the time
  // does not tell which names exist.
  if (!VerifyPassword(account ? account->verifier : strangerVerifier, attempt.loginSecret) || !account) {
    LogRefusal(account ? std::to_string(account->id) : "unknown", attempt.address);
    return {ErrorCode::LoginRefused, *wait};
  }
  throttle.Succeed(name, attempt.address);
  if (account->disabled) return {ErrorCode::AccountDisabled, *wait};
  Session session;
  session.accountId = account->id;
  session.deviceId = attempt.deviceId;
  session.createdMs = clock.NowMs();
  session.lastUsedMs = session.createdMs;
  const Tokens tokens = Renew(session, *account);
  store.InsertSession(session);
  return {tokens, *wait};
}

std::variant<Tokens, ErrorCode> AccountService::Refresh(const std::string& refreshToken) {
  std::variant<Tokens, ErrorCode> result = ErrorCode::RefreshRefused;
  const std::string hash = Sha256Hex(refreshToken);
  store.Atomically([&] {
    auto session = store.FindSessionByRefresh(hash);
    if (!session) return false;
    const bool isPresent = session->refreshHash == hash;
    if ((isPresent ? session->refreshUntilMs : session->previousUntilMs) < clock.NowMs()) return false;
    const auto account = store.FindAccount(session->accountId);
    if (!account) return false;
    if (account->disabled) {
      result = ErrorCode::AccountDisabled;
      return false;
    }
    // Once more and not again: two parties that hold one token are told apart
    // by the one that comes too late.
    session->previousHash = isPresent ? hash : "";
    session->previousUntilMs = isPresent ? clock.NowMs() + kPreviousRefreshMs : 0;
    result = Renew(*session, *account);
    store.UpdateSession(*session);
    return true;
  });
  return result;
}

std::variant<Caller, ErrorCode> AccountService::Authenticate(const std::string& accessToken) {
  if (accessToken.empty()) return ErrorCode::TokenInvalid;
  const auto session = store.FindSessionByAccess(Sha256Hex(accessToken));
  if (!session || session->accessUntilMs < clock.NowMs()) return ErrorCode::TokenInvalid;
  auto account = store.FindAccount(session->accountId);
  if (!account) return ErrorCode::TokenInvalid;
  if (account->disabled) return ErrorCode::AccountDisabled;
  {
    const MutexLock guard(usesLock);
    uses[session->id] = clock.NowMs();
  }
  return Caller{std::move(*account), session->id, session->deviceId};
}

std::vector<Session> AccountService::ListSessions(const Caller& caller) {
  auto sessions = store.ListSessions(caller.account.id);
  std::erase_if(sessions, [this](const Session& session) { return session.refreshUntilMs < clock.NowMs(); });
  {
    const MutexLock guard(usesLock);
    for (Session& session : sessions) {
      const auto used = uses.find(session.id);
      if (used != uses.end()) session.lastUsedMs = std::max(session.lastUsedMs, used->second);
    }
  }
  std::stable_sort(sessions.begin(), sessions.end(), [](const Session& left, const Session& right) {
    return left.lastUsedMs > right.lastUsedMs;
  });
  return sessions;
}

PasswordResult AccountService::ChangePassword(const Caller& caller, const PasswordChange& change) {
  const Account& account = caller.account;
  const std::string name = ToLower(account.userName);
  const auto wait = throttle.Enter(name, change.address);
  if (!wait) return {ErrorCode::TooManyRequests};
  if (VerifyPassword(account.verifier, change.currentSecret)) {
    throttle.Succeed(name, change.address);
    const std::string verifier = MakeVerifier(change.newSecret, cost);
    if (verifier.empty()) return {ErrorCode::Unavailable, *wait};
    return {StoreChange(caller, change, verifier), *wait};
  }
  const WrappedKeys stored = store.LoadKeys(account.id);
  if (IsRepeated(account, change, stored)) return {stored, *wait};
  LogRefusal(std::to_string(account.id), change.address);
  return {ErrorCode::LoginRefused, *wait};
}

std::variant<WrappedKeys, ErrorCode> AccountService::StoreChange(const Caller& caller,
                                                                 const PasswordChange& change,
                                                                 const std::string& verifier) {
  WrappedKeys keys{change.keys, change.ifRevision + 1};
  WrappedKeys before;
  const bool stored = store.Atomically([&] {
    auto account = store.FindAccount(caller.account.id);
    before = store.LoadKeys(caller.account.id);
    // Another change may have come first while the secrets were being derived.
    if (!account || account->verifier != caller.account.verifier) return false;
    if (before.revision != change.ifRevision) return false;
    account->verifier = verifier;
    store.UpdateAccount(*account);
    store.StoreKeys(account->id, keys);
    store.RemoveSessionsOf(account->id, caller.sessionId);
    return true;
  });
  if (stored) return keys;
  if (IsRepeated(caller.account, change, before)) return before;
  return ErrorCode::CompareFailed;
}

bool AccountService::IsRepeated(const Account& account, const PasswordChange& change,
                                const WrappedKeys& stored) const {
  return stored.revision > change.ifRevision && ParseJson(stored.keys) == ParseJson(change.keys) &&
         VerifyPassword(account.verifier, change.newSecret);
}

void AccountService::SweepSessions() {
  std::map<std::int64_t, std::int64_t> used;
  {
    const MutexLock guard(usesLock);
    used.swap(uses);
  }
  store.Atomically([&] {
    for (const auto& [id, usedMs] : used) store.TouchSession(id, usedMs);
    store.RemoveSessionsBefore(clock.NowMs());
    return true;
  });
}

Tokens AccountService::Renew(Session& session, const Account& account) const {
  Tokens tokens{NewToken(), kAccessSeconds, NewToken(), kRefreshSeconds, account.userId, account.userName};
  session.accessHash = Sha256Hex(tokens.accessToken);
  session.accessUntilMs = clock.NowMs() + kAccessSeconds * 1000;
  session.refreshHash = Sha256Hex(tokens.refreshToken);
  session.refreshUntilMs = clock.NowMs() + kRefreshSeconds * 1000;
  return tokens;
}

}  // namespace photocloud
