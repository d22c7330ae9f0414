#include "host/userauthservice.h"

#include <json/value.h>
#include <openssl/evp.h>

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "common/platform/clock.h"
#include "common/platform/files.h"
#include "common/platform/guid.h"
#include "common/platform/mutex.h"
#include "common/platform/random.h"
#include "common/platform/text.h"
#include "host/curlppx.h"
#include "host/globalparamwrapper.h"
#include "host/jsonfile.h"
#include "host/logger.h"
#include "host/ns/basic.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMasterKeyBytes = 32;
// Long enough for a slow renewal, short beside the life of a token.
constexpr std::int64_t kRenewBeforeSeconds = 300;
constexpr std::size_t kAsideIdBytes = 16;
constexpr long kUnauthorized = 401;

struct KeyField {
  const char* name;
  std::size_t bytes;
};
constexpr std::array<KeyField, 2> kMasterKeys{{{"mk1", kMasterKeyBytes}, {"mk2", kMasterKeyBytes}}};
constexpr std::array<KeyField, 4> kUserKeys{
    {{"userKey1", 16}, {"userKey3", 32}, {"userKeyId1", 16}, {"userKeyId3", 16}}};

fs::path AccountFile() { return JsonFile::Folder() / "account.json"; }

bool Fail(int line, const char* operation, const std::string& text) {
  Logger::CloudLogger::GetInstance()->Output("Host", Logger::Severity::Error, line,
                                             std::string("UserAuthService::") + operation, text);
  return false;
}

std::string Hexadecimal(std::span<const std::uint8_t> bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) text.append({kDigits[byte >> 4], kDigits[byte & 0x0F]});
  return text;
}

int DigitOf(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

std::optional<std::vector<std::uint8_t>> Bytes(const std::string& text, std::size_t count) {
  if (text.size() != count * 2) return std::nullopt;
  std::vector<std::uint8_t> bytes;
  for (std::size_t at = 0; at < text.size(); at += 2) {
    const int high = DigitOf(text[at]);
    const int low = DigitOf(text[at + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
  }
  return bytes;
}

std::string TextOf(const Json::Value& account, const char* name) {
  const Json::Value& value = account[name];
  return value.isString() ? value.asString() : std::string();
}

std::wstring WideOf(const Json::Value& account, const char* name) {
  return platform::Utf8ToWide(TextOf(account, name));
}

// Makes the keys that the account does not have.
template <std::size_t Count>
bool MakeKeys(const std::array<KeyField, Count>& fields, Json::Value& account) {
  for (const KeyField& field : fields) {
    if (!TextOf(account, field.name).empty()) continue;
    std::vector<std::uint8_t> bytes(field.bytes);
    if (!platform::RandomBytes(bytes)) return false;
    account[field.name] = Hexadecimal(bytes);
  }
  return true;
}

bool HasMasterKeys(const Json::Value& account) {
  return std::all_of(kMasterKeys.begin(), kMasterKeys.end(), [&](const KeyField& field) {
    return Bytes(TextOf(account, field.name), field.bytes).has_value();
  });
}

// A key that is none stays all zero, which its users test for.
template <std::size_t Size>
void CopyKey(const Json::Value& account, const char* name, unsigned char (&key)[Size]) {
  const auto bytes = Bytes(TextOf(account, name), Size - 1);
  if (bytes) std::copy(bytes->begin(), bytes->end(), key);
}

template <std::size_t Size>
void CopyId(const Json::Value& account, const char* name, wchar_t (&id)[Size]) {
  const std::wstring text = WideOf(account, name);
  std::copy_n(text.begin(), std::min(text.size(), Size - 1), id);
}

st_UserInfo UserOf(const Json::Value& account) {
  st_UserInfo user;
  user.userId = WideOf(account, "userId");
  CopyKey(account, "userKey1", user.userKey1);
  CopyKey(account, "userKey3", user.userKey3);
  CopyId(account, "userKeyId1", user.userKeyId1);
  CopyId(account, "userKeyId3", user.userKeyId3);
  return user;
}

// An account without tokens and with all its keys.
bool NewAccount(const std::string& userId, Json::Value& account) {
  account = Json::Value(Json::objectValue);
  account["userId"] = userId;
  for (const char* name : {"countryCode", "accessToken", "refreshToken"}) account[name] = "";
  return MakeKeys(kMasterKeys, account) && MakeKeys(kUserKeys, account);
}

// Success when this process or, at the same moment, another one has made it.
bool MakeAccount() {
  Json::Value account;
  if (!NewAccount(platform::NewGuid(), account)) return Fail(__LINE__, "Load", "no random numbers for keys");
  std::error_code error = platform::MakeFolder(JsonFile::Folder());
  if (!error)
    error = platform::CreateAtomically(AccountFile(), JsonFile::Text(account), platform::Rights::OwnerOnly);
  if (!error || error == std::errc::file_exists) return true;
  return Fail(__LINE__, "Load", "the account cannot be stored: " + error.message());
}

// Narrows rights that a copy or a restored backup has widened.
void ProtectAccount() {
  constexpr fs::perms kOwnerOnly = fs::perms::owner_read | fs::perms::owner_write;
  std::error_code error;
  if (fs::status(AccountFile(), error).permissions() == kOwnerOnly) return;
  fs::permissions(AccountFile(), kOwnerOnly, error);
  if (error) Fail(__LINE__, "Load", "the account's rights cannot be set: " + error.message());
}

// Where an account lies while another one is logged in.
fs::path AsideFile(const std::string& userId) {
  std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest{};
  std::size_t length = 0;
  (void)EVP_Q_digest(nullptr, "SHA256", nullptr, userId.data(), userId.size(), digest.data(), &length);
  return JsonFile::Folder() / ("account-" + Hexadecimal(std::span(digest).first(kAsideIdBytes)) + ".json");
}

bool StoreAccount(const fs::path& file, const Json::Value& account, const char* operation) {
  const auto error = platform::ReplaceAtomically(file, JsonFile::Text(account), platform::Rights::OwnerOnly);
  return !error || Fail(__LINE__, operation, "the account cannot be stored: " + error.message());
}

// The account of `userId` as it was kept aside, or a new one.
bool TakeAside(const std::string& userId, Json::Value& account) {
  const auto result = JsonFile::Load(AsideFile(userId), account);
  if (result == JsonFile::LoadResult::Missing) return NewAccount(userId, account);
  return result == JsonFile::LoadResult::Loaded && TextOf(account, "userId") == userId;
}

void PutTokens(const NS::Basic::Tokens& tokens, Json::Value& account) {
  account["accessToken"] = tokens.accessToken;
  account["refreshToken"] = tokens.refreshToken;
  account["accessTokenEnds"] = Json::Int64(platform::NowSeconds() + tokens.expiresIn);
}

void DropSession(Json::Value& account) {
  account["accessToken"] = "";
  account["refreshToken"] = "";
  account.removeMember("accessTokenEnds");
}

// Puts `next` in place of `current`, which is kept aside first: a crash between
// the two writes then loses no key.
bool SwitchAccount(Json::Value current, const Json::Value& next, const char* operation) {
  const std::string userId = TextOf(current, "userId");
  if (!userId.empty() && userId != TextOf(next, "userId")) {
    DropSession(current);
    if (!StoreAccount(AsideFile(userId), current, operation)) return false;
  }
  return StoreAccount(AccountFile(), next, operation);
}

// Servers differ from this computer's clock, and shown times come from them.
void TellServerTime(const std::string& server) {
  const auto answer = NS::Request::Sync(NS::Basic::ServerTimeQuery::Get(server));
  if (answer.payload) GlobalParamWrapper::GetInstance()->SetServerTime(answer.payload->seconds);
}

bool ReadAccount(Json::Value& account) {
  auto result = JsonFile::Load(AccountFile(), account);
  if (result == JsonFile::LoadResult::Missing) {
    if (!MakeAccount()) return false;
    result = JsonFile::Load(AccountFile(), account);
  }
  if (result != JsonFile::LoadResult::Loaded)
    return Fail(__LINE__, "Load", "account.json cannot be read or parsed");
  if (TextOf(account, "userId").empty()) return Fail(__LINE__, "Load", "account.json names no user");
  ProtectAccount();
  return true;
}

}  // namespace

struct UserAuthService::State {
  std::wstring Text(const char* name) {
    platform::ReaderLock hold(lock);
    return WideOf(account, name);
  }

  Json::Value Account() {
    platform::ReaderLock hold(lock);
    return account;
  }

  // Held by whoever renews, also over its request: a refresh token can be spent
  // once, and those who wait find the new tokens. Taken before `lock`.
  platform::Mutex renewLock;
  platform::SharedMutex lock;
  Json::Value account GUARDED_BY(lock) = Json::Value(Json::objectValue);
};

UserAuthService::UserAuthService() : state(new State) {}

UserAuthService* UserAuthService::GetInstance() {
  static UserAuthService* const instance = new UserAuthService;
  return instance;
}

bool UserAuthService::Load() {
  Json::Value account;
  const bool read = ReadAccount(account);
  if (!read) account = Json::Value(Json::objectValue);
  GlobalParamWrapper::GetInstance()->SetUser(UserOf(account), WideOf(account, "countryCode"));
  GlobalParamWrapper::GetInstance()->SetMasterKeys({}, {});
  platform::WriterLock hold(state->lock);
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
  const std::string device = platform::WideToUtf8(GlobalParamWrapper::GetInstance()->GetSystemUUid());
  const auto answer = NS::Request::Sync(NS::Basic::Session::Login(address, userName, password, device));
  if (!answer.payload) {
    Fail(__LINE__, "Login",
         answer.NetError() ? curlppx::CurlGlobal::GetErrStr(answer.curlCode)
                           : "http code:" + std::to_string(answer.httpCode) +
                                 (answer.error ? " " + answer.error->Text() : std::string()));
    return answer.error && answer.error->status < 500 ? LoginResult::Refused : LoginResult::Unreachable;
  }
  platform::MutexLock renewing(state->renewLock);
  const Json::Value current = state->Account();
  const std::string& userId = answer.payload->userId;
  Json::Value next = current;
  if (TextOf(current, "userId") != userId && !TakeAside(userId, next)) {
    Fail(__LINE__, "Login", "the account of this user cannot be read or made");
    return LoginResult::NotStored;
  }
  next["server"] = address;
  next["userName"] = userName;
  next["localUserId"] =
      TextOf(current, "server").empty() ? TextOf(current, "userId") : TextOf(current, "localUserId");
  PutTokens(*answer.payload, next);
  if (!SwitchAccount(current, next, "Login") || !Load()) return LoginResult::NotStored;
  TellServerTime(address);
  return LoginResult::Done;
}

bool UserAuthService::Logout() {
  if (GetServerUrl().empty()) return true;
  if (!GetCurrentAT().empty())
    (void)NS::Request::Sync(NS::Basic::Session::Logout());  // Tokens end by themselves.
  platform::MutexLock renewing(state->renewLock);
  const Json::Value current = state->Account();
  std::string local = TextOf(current, "localUserId");
  if (local.empty()) local = platform::NewGuid();
  Json::Value next;
  if (!TakeAside(local, next)) return Fail(__LINE__, "Logout", "the local account cannot be read or made");
  return SwitchAccount(current, next, "Logout") && Load();
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
  Json::Value stored;
  if (JsonFile::Load(AccountFile(), stored) == JsonFile::LoadResult::Loaded &&
      TextOf(stored, "userId") == TextOf(account, "userId") && TextOf(stored, "accessToken") != refused) {
    return Load() && !GetCurrentAT().empty();  // Another process has renewed, or logged out.
  }
  if (TextOf(account, "refreshToken").empty()) return false;
  const auto answer = NS::Request::Sync(
      NS::Basic::Session::Refresh(TextOf(account, "server"), TextOf(account, "refreshToken")));
  if (!answer.payload) {
    Fail(__LINE__, "Renew",
         "http code:" + std::to_string(answer.httpCode) + (answer.error ? " " + answer.error->Text() : ""));
    if (answer.httpCode != kUnauthorized) return false;
  }
  platform::WriterLock hold(
      state->lock);  // Covers the write, as InitMk1AndMk2 does: keys may have come meanwhile.
  // Asking again with refused tokens would only be refused again.
  answer.payload ? PutTokens(*answer.payload, state->account) : DropSession(state->account);
  return StoreAccount(AccountFile(), state->account, "Renew") && answer.payload.has_value();
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
  if (!MakeKeys(kMasterKeys, account)) return Fail(__LINE__, "InitMk1AndMk2", "no random numbers for keys");
  if (!HasMasterKeys(account))
    return Fail(__LINE__, "InitMk1AndMk2", "the account's master keys are no keys");
  if (account != state->account) {
    const auto error =
        platform::ReplaceAtomically(AccountFile(), JsonFile::Text(account), platform::Rights::OwnerOnly);
    if (error) return Fail(__LINE__, "InitMk1AndMk2", "the keys cannot be stored: " + error.message());
    state->account = account;
  }
  GlobalParamWrapper::GetInstance()->SetMasterKeys(TextOf(account, "mk1"), TextOf(account, "mk2"));
  return true;
}
