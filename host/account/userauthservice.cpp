#include "host/account/userauthservice.h"

#include <json/value.h>

#include "common/platform/clock.h"
#include "common/platform/guid.h"
#include "common/platform/mutex.h"
#include "common/platform/text.h"
#include "host/account/accountfile.h"
#include "host/account/accountkeys.h"
#include "host/account/keyexchange.h"
#include "host/account/passwordkeys.h"
#include "host/account/wrappedkeys.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/logger.h"
#include "host/requests/curlppx.h"
#include "host/requests/ns/basic.h"
#include "host/requests/ns/tokenprovider.h"

namespace {

// Long enough for a slow renewal, short beside the life of a token.
constexpr std::int64_t kRenewBeforeSeconds = 300;
constexpr long kUnauthorized = 401;
constexpr char kExportFormat[] = "zentara-keys-1";
// An answer that was lost is asked for again.
constexpr int kPasswordTries = 3;

using LoginResult = UserAuthService::LoginResult;
using ImportResult = UserAuthService::ImportResult;

bool Fail(int line, const char* operation, const std::string& text) {
  Logger::CloudLogger::GetInstance()->Output("Host", Logger::Severity::Error, line,
                                             std::string("UserAuthService::") + operation, text);
  return false;
}

std::string TextOf(const Json::Value& account, const char* name) {
  const Json::Value& value = account[name];
  return value.isString() ? value.asString() : std::string();
}

std::wstring WideOf(const Json::Value& account, const char* name) {
  return platform::Utf8ToWide(TextOf(account, name));
}

std::string TextOf(const NS::RawAnswer& answer) {
  if (answer.NetError()) return curlppx::CurlGlobal::GetErrStr(answer.curlCode);
  return "http code:" + std::to_string(answer.httpCode) + (answer.error ? " " + answer.error->Text() : "");
}

st_UserInfo UserOf(const Json::Value& account) {
  st_UserInfo user;
  user.userId = WideOf(account, "userId");
  AccountKeys::CopyTo(account, user);
  return user;
}

// As the service tells them apart, and as keys are derived from them.
bool IsSameName(const std::string& left, const std::string& right) {
  return !left.empty() && platform::AsciiLower(left) == platform::AsciiLower(right);
}

bool HaveSameMasterKeys(const Json::Value& left, const Json::Value& right) {
  const auto isSame = [&](const char* name) { return TextOf(left, name) == TextOf(right, name); };
  return isSame("userId") && isSame("mk1") && isSame("mk2");
}

// Servers differ from this computer's clock, and shown times come from them.
bool TellServerTime(const std::string& server) {
  const auto answer = NS::Request::Sync(NS::Basic::ServerTimeQuery::Get(server));
  if (answer.payload) GlobalParamWrapper::GetInstance()->SetServerTime(answer.payload->seconds);
  return answer.payload.has_value();
}

// A session that leads to nothing would stay open at the service for a month.
void EndSession(const std::string& server, const NS::Basic::Tokens& tokens) {
  (void)NS::Request::Sync(NS::Basic::Session::Logout(server, tokens.accessToken));
}

NS::Answer<NS::Basic::Tokens> OpenSession(const std::string& server, const std::string& userName,
                                          const std::string& loginSecret, const char* operation) {
  const std::string device = platform::WideToUtf8(GlobalParamWrapper::GetInstance()->GetSystemUUid());
  auto answer = NS::Request::Sync(NS::Basic::Session::Login(server, userName, loginSecret, device));
  if (!answer.payload) Fail(__LINE__, operation, TextOf(answer));
  return answer;
}

bool IsRefusal(const NS::RawAnswer& answer) { return answer.error && answer.error->status < 500; }

KeyExchange ExchangeIn(const std::string& server, const NS::Basic::Tokens& tokens, const PasswordKeys& keys) {
  return KeyExchange({server, tokens.accessToken, tokens.userId}, keys.wrapKey);
}

// The session of the account that is logged in, for requests.
class SessionOfAccount : public NS::TokenProvider {
 public:
  explicit SessionOfAccount(UserAuthService& from) : account(from) {}
  bool KeepTokenFresh() override { return account.KeepTokenFresh(); }
  bool RenewToken(const std::wstring& refused) override { return account.RenewToken(refused); }
  std::wstring AccessToken() const override { return account.GetCurrentAT(); }
  std::string ServerUrl() const override { return account.GetServerUrl(); }

 private:
  UserAuthService& account;
};

}  // namespace

struct UserAuthService::State {
  explicit State(UserAuthService& service) : session(service) {}

  std::wstring Text(const char* name) {
    platform::ReaderLock hold(lock);
    return WideOf(account, name);
  }

  Json::Value Account() {
    platform::ReaderLock hold(lock);
    return account;
  }

  std::vector<std::function<void()>> LogoutListeners() {
    platform::ReaderLock hold(lock);
    return logoutListeners;
  }

  SessionOfAccount session;

  // Held by whoever renews, also over its request: a refresh token can be spent
  // once, and those who wait find the new tokens. Taken before `lock`.
  platform::Mutex renewLock;
  platform::SharedMutex lock;
  Json::Value account GUARDED_BY(lock) = Json::Value(Json::objectValue);
  std::vector<std::function<void()>> logoutListeners GUARDED_BY(lock);
};

UserAuthService::UserAuthService() : state(new State(*this)) { NS::TokenProvider::Install(&state->session); }

UserAuthService* UserAuthService::GetInstance() {
  static UserAuthService* const instance = new UserAuthService;
  return instance;
}

bool UserAuthService::Load() {
  Json::Value account;
  const bool read = AccountFile::Read(account);
  if (!read) account = Json::Value(Json::objectValue);
  GlobalParamWrapper::GetInstance()->SetUser(UserOf(account), WideOf(account, "countryCode"));
  platform::WriterLock hold(state->lock);
  // New tokens, of another process too, take no key from an upload that runs.
  if (!HaveSameMasterKeys(account, state->account)) GlobalParamWrapper::GetInstance()->SetMasterKeys({}, {});
  state->account = std::move(account);
  return read;
}

UserAuthService::LoginResult UserAuthService::Login(const std::string& server, const std::string& userName,
                                                    const std::string& password) {
  std::string address = server;
  while (address.ends_with('/')) address.pop_back();
  if (!curlppx::CurlUrl::IsAllowed(address)) {
    Fail(__LINE__, "Login",
         "only https, or http to this computer itself: " + curlppx::CurlUrl::Place(address));
    return LoginResult::NotAllowed;
  }
  const auto keys = PasswordKeys::Derive(userName, password);
  if (!keys) {
    Fail(__LINE__, "Login", "no memory to derive keys from the password");
    return LoginResult::NoMemory;
  }
  const auto answer = OpenSession(address, userName, keys->loginSecret, "Login");
  if (!answer.payload) {
    if (answer.curlCode == curlppx::kCurlPeerCertificate) return LoginResult::NotTrusted;
    return IsRefusal(answer) ? LoginResult::Refused : LoginResult::Unreachable;
  }
  NS::Basic::Tokens tokens = *answer.payload;
  tokens.userName = userName;  // The keys depend on it, letter by letter.
  const LoginResult result = Enter(address, tokens, *keys);
  if (result == LoginResult::Done)
    (void)TellServerTime(address);
  else
    EndSession(address, *answer.payload);
  return result;
}

LoginResult UserAuthService::Enter(const std::string& server, const NS::Basic::Tokens& tokens,
                                   const PasswordKeys& keys) {
  platform::MutexLock renewing(state->renewLock);
  Json::Value current;  // As it is now: another process may have logged in meanwhile.
  if (!AccountFile::Read(current)) return LoginResult::NotStored;
  Json::Value next = current;
  if (TextOf(current, "userId") != tokens.userId && !AccountFile::TakeAside(tokens.userId, next))
    return LoginResult::NotStored;
  const Json::Value imported = AccountFile::Imported();
  const bool known = TextOf(imported, "userId") == tokens.userId;
  const bool counts =
      imported.isObject() && (known || IsSameName(TextOf(imported, "userName"), tokens.userName));
  if (counts && !AccountKeys::AreWhole(next)) AccountKeys::Adopt(imported["keys"], next);
  const auto exchange = ExchangeIn(server, tokens, keys);
  auto brought = exchange.Bring(next);
  // The account's own keys, which its user has kept, stand for a seal that is lost.
  if (brought == KeyExchange::Result::Unreadable && known) {
    AccountKeys::Adopt(imported["keys"], next);
    brought = exchange.Replace(AccountKeys::Of(next));
  }
  if (brought == KeyExchange::Result::Unreachable) return LoginResult::Unreachable;
  if (brought != KeyExchange::Result::Done) return LoginResult::KeysUnreadable;
  next["server"] = server;
  next["userName"] = tokens.userName;
  next["localUserId"] =
      TextOf(current, "server").empty() ? TextOf(current, "userId") : TextOf(current, "localUserId");
  AccountFile::PutTokens(tokens, next);
  if (!AccountFile::Switch(current, next) || !Load()) return LoginResult::NotStored;
  if (counts) (void)AccountFile::StoreImported({});  // Left, it would be found to be known already.
  return LoginResult::Done;
}

void UserAuthService::AtLogout(std::function<void()> listener) {
  platform::WriterLock hold(state->lock);
  state->logoutListeners.push_back(std::move(listener));
}

bool UserAuthService::Logout() {
  if (GetServerUrl().empty()) return true;
  // Their requests still belong to this user.
  for (const auto& listener : state->LogoutListeners()) listener();
  if (!GetCurrentAT().empty())
    (void)NS::Request::Sync(NS::Basic::Session::Logout());  // Tokens end by themselves.
  platform::MutexLock renewing(state->renewLock);
  const Json::Value current = state->Account();
  std::string local = TextOf(current, "localUserId");
  if (local.empty()) local = platform::NewGuid();
  Json::Value next;
  if (!AccountFile::TakeAside(local, next) || !AccountKeys::MakeMissing(next))
    return Fail(__LINE__, "Logout", "the local account cannot be read or made");
  return AccountFile::Switch(current, next) && Load();
}

bool UserAuthService::AskServerTime() {
  const std::string server = GetServerUrl();
  return !server.empty() && TellServerTime(server);
}

bool UserAuthService::KeepTokenFresh() {
  std::string token;
  {
    platform::ReaderLock hold(state->lock);
    if (TextOf(state->account, "refreshToken").empty()) return true;
    const Json::Value& ends = state->account["accessTokenEnds"];
    if (ends.isInt64() && platform::NowSeconds() < ends.asInt64() - kRenewBeforeSeconds) return true;
    token = TextOf(state->account, "accessToken");
  }
  return Renew(token);
}

bool UserAuthService::RenewToken(const std::wstring& refusedToken) {
  return Renew(platform::WideToUtf8(refusedToken));
}

bool UserAuthService::Renew(const std::string& refused) {
  platform::MutexLock renewing(state->renewLock);
  Json::Value account = state->Account();
  if (TextOf(account, "accessToken") != refused) return !TextOf(account, "accessToken").empty();
  const std::string userId = TextOf(account, "userId");
  if (AccountFile::Reread(userId, account) && TextOf(account, "accessToken") != refused)
    return Load() && !GetCurrentAT().empty();  // Another process has renewed, or logged out.
  if (TextOf(account, "refreshToken").empty()) return false;
  const auto answer = NS::Request::Sync(
      NS::Basic::Session::Refresh(TextOf(account, "server"), TextOf(account, "refreshToken")));
  if (!answer.payload) {
    Fail(__LINE__, "Renew", TextOf(answer));
    if (answer.httpCode != kUnauthorized) return false;
  }
  // Covers the write, as InitMk1AndMk2 does: keys may have come meanwhile, here or
  // by another process.
  platform::WriterLock hold(state->lock);
  (void)AccountFile::Reread(userId, state->account);
  // Asking again with refused tokens would only be refused again.
  answer.payload ? AccountFile::PutTokens(*answer.payload, state->account)
                 : AccountFile::DropSession(state->account);
  return AccountFile::Store(state->account) && answer.payload.has_value();
}

std::string UserAuthService::GetServerUrl() const {
  platform::ReaderLock hold(state->lock);
  return TextOf(state->account, "server");
}
std::string UserAuthService::GetUserName() const {
  platform::ReaderLock hold(state->lock);
  return TextOf(state->account, "userName");
}
std::wstring UserAuthService::GetCurrentAT() const { return state->Text("accessToken"); }
std::wstring UserAuthService::GetCurrentRT() const { return state->Text("refreshToken"); }
std::wstring UserAuthService::GetCurrentUserID() const { return state->Text("userId"); }
std::wstring UserAuthService::GetCurrentCountryCode() const { return state->Text("countryCode"); }
bool UserAuthService::IsChinaAccount() const { return GetCurrentCountryCode() == L"CN"; }

bool UserAuthService::InitMk1AndMk2() {
  platform::WriterLock hold(state->lock);  // Covers the write: two callers must not make two pairs.
  Json::Value account = state->account;
  if (TextOf(account, "userId").empty()) return Fail(__LINE__, "InitMk1AndMk2", "no account");
  // Keys made here would be unknown to the service and to other devices.
  const bool local = TextOf(account, "server").empty();
  if (local && !AccountKeys::MakeMissingMasterKeys(account))
    return Fail(__LINE__, "InitMk1AndMk2", "no random numbers for keys");
  if (!AccountKeys::HasMasterKeys(account))
    return Fail(__LINE__, "InitMk1AndMk2", "the account's master keys are no keys");
  if (account != state->account) {
    if (!AccountFile::Store(account)) return false;
    state->account = account;
  }
  GlobalParamWrapper::GetInstance()->SetMasterKeys(TextOf(account, "mk1"), TextOf(account, "mk2"));
  return true;
}

Json::Value UserAuthService::ExportKeys() const {
  const Json::Value account = state->Account();
  if (!AccountKeys::AreWhole(account)) return {};
  Json::Value exported(Json::objectValue);
  exported["format"] = kExportFormat;
  for (const char* name : {"userId", "userName", "server"}) exported[name] = TextOf(account, name);
  exported["keys"] = AccountKeys::Of(account);
  return exported;
}

ImportResult UserAuthService::ImportKeys(const Json::Value& exported, const std::string& password,
                                         Replace replace) {
  if (!exported.isObject() || TextOf(exported, "format") != kExportFormat || !exported["keys"].isObject() ||
      !AccountKeys::AreWhole(exported["keys"])) {
    Fail(__LINE__, "ImportKeys", "no export of keys");
    return ImportResult::NoKeys;
  }
  const Json::Value keys = AccountKeys::Of(exported["keys"]);
  platform::MutexLock renewing(state->renewLock);
  if (!GetServerUrl().empty()) {
    const ImportResult replaced = ReplaceAtService(keys, password, replace);
    if (replaced != ImportResult::Done) return replaced;
  }
  const std::string owner = TextOf(exported, "userId");
  Json::Value account = state->Account();
  if (GetServerUrl().empty() && !TextOf(exported, "server").empty() && owner != TextOf(account, "userId"))
    return AccountFile::StoreImported(exported) ? ImportResult::Done : ImportResult::NotStored;
  (void)AccountFile::Reread(TextOf(account, "userId"), account);
  AccountKeys::Adopt(keys, account);
  return AccountFile::Store(account) && Load() ? ImportResult::Done : ImportResult::NotStored;
}

UserAuthService::PasswordResult UserAuthService::ChangePassword(const std::string& password,
                                                                const std::string& newPassword) {
  const Json::Value account = state->Account();
  const auto present = PasswordKeys::Derive(TextOf(account, "userName"), password);
  const auto next = PasswordKeys::Derive(TextOf(account, "userName"), newPassword);
  if (!present || !next) return PasswordResult::NoMemory;
  (void)KeepTokenFresh();
  const auto fetched = NS::Request::Sync(
      NS::Basic::KeysReq::Get(TextOf(account, "server"), platform::WideToUtf8(GetCurrentAT())));
  if (!fetched.payload) {
    Fail(__LINE__, "ChangePassword", TextOf(fetched));
    return PasswordResult::Unreachable;
  }
  const std::string userId = TextOf(account, "userId");
  const auto keys = WrappedKeys::Open(fetched.payload->keys, userId, present->wrapKey);
  // The seal tells a mistyped password from the right one before the service counts it.
  if (!keys) return PasswordResult::KeysUnreadable;
  const Json::Value sealed = WrappedKeys::Seal(*keys, userId, next->wrapKey);
  const auto call = NS::Basic::PasswordReq::Change(present->loginSecret, next->loginSecret, sealed,
                                                   fetched.payload->revision);
  auto answer = NS::Request::Sync(call);
  for (int tries = 1; !answer.payload && answer.IsOutage() && tries < kPasswordTries; ++tries)
    answer = NS::Request::Sync(call);
  if (answer.payload) return PasswordResult::Done;
  Fail(__LINE__, "ChangePassword", TextOf(answer));
  return IsRefusal(answer) ? PasswordResult::Refused : PasswordResult::Unreachable;
}

// In a session of its own: only a login proves the password, and keys sealed
// under a mistyped one could never be opened again.
ImportResult UserAuthService::ReplaceAtService(const Json::Value& keys, const std::string& password,
                                               Replace replace) {
  const Json::Value account = state->Account();
  const std::string server = TextOf(account, "server");
  const std::string userName = TextOf(account, "userName");
  const auto derived = PasswordKeys::Derive(userName, password);
  if (!derived) return ImportResult::Unreachable;
  const auto answer = OpenSession(server, userName, derived->loginSecret, "ImportKeys");
  if (!answer.payload) return IsRefusal(answer) ? ImportResult::Refused : ImportResult::Unreachable;
  const auto exchange = ExchangeIn(server, *answer.payload, *derived);
  auto result = exchange.MayReplace(keys, AccountKeys::Of(account));
  if (replace == Replace::AnyKeys || result == KeyExchange::Result::Done) result = exchange.Replace(keys);
  EndSession(server, *answer.payload);
  if (result == KeyExchange::Result::Unreachable) return ImportResult::Unreachable;
  return result == KeyExchange::Result::Done ? ImportResult::Done : ImportResult::InUse;
}
