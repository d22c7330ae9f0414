#include "host/account/accountfile.h"

#include <openssl/evp.h>

#include <array>
#include <filesystem>
#include <span>

#include "common/platform/clock.h"
#include "common/platform/files.h"
#include "common/platform/guid.h"
#include "host/account/accountkeys.h"
#include "host/base/hexadecimal.h"
#include "host/base/jsonfile.h"
#include "host/base/jsontext.h"
#include "host/base/logger.h"

namespace AccountFile {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kAsideIdBytes = 16;

bool Fail(int line, const char* operation, const std::string& text) {
  Logger::CloudLogger::GetInstance()->Output("Host", Logger::Severity::Error, line,
                                             std::string("AccountFile::") + operation, text);
  return false;
}

fs::path Import() { return JsonFile::Folder() / "keys-imported.json"; }
fs::path Present() { return JsonFile::Folder() / "account.json"; }

// Where an account lies while another one is logged in.
fs::path Aside(const std::string& userId) {
  std::array<std::uint8_t, EVP_MAX_MD_SIZE> digest{};
  std::size_t length = 0;
  (void)EVP_Q_digest(nullptr, "SHA256", nullptr, userId.data(), userId.size(), digest.data(), &length);
  return JsonFile::Folder() /
         ("account-" + Hexadecimal::Text(std::span(digest).first(kAsideIdBytes)) + ".json");
}

std::string UserIdOf(const Json::Value& account) {
  return account["userId"].isString() ? account["userId"].asString() : std::string();
}

Json::Value NewAccount(const std::string& userId) {
  Json::Value account(Json::objectValue);
  account["userId"] = userId;
  for (const char* name : {"countryCode", "accessToken", "refreshToken"}) account[name] = "";
  return account;
}

// Success when this process or, at the same moment, another one has made it.
bool MakeLocal() {
  Json::Value account = NewAccount(platform::NewGuid());
  if (!AccountKeys::MakeMissing(account)) return Fail(__LINE__, "Read", "no random numbers for keys");
  std::error_code error = platform::MakeFolder(JsonFile::Folder());
  if (!error)
    error = platform::CreateAtomically(Present(), JsonFile::Text(account), platform::Rights::OwnerOnly);
  if (!error || error == std::errc::file_exists) return true;
  return Fail(__LINE__, "Read", "the account cannot be stored: " + error.message());
}

// Narrows rights that a copy or a restored backup has widened.
void Protect() {
  constexpr fs::perms kOwnerOnly = fs::perms::owner_read | fs::perms::owner_write;
  std::error_code error;
  if (fs::status(Present(), error).permissions() == kOwnerOnly) return;
  fs::permissions(Present(), kOwnerOnly, error);
  if (error) Fail(__LINE__, "Read", "the account's rights cannot be set: " + error.message());
}

bool StoreTo(const fs::path& file, const Json::Value& account) {
  const auto error = platform::ReplaceAtomically(file, JsonFile::Text(account), platform::Rights::OwnerOnly);
  return !error || Fail(__LINE__, "Store", "the account cannot be stored: " + error.message());
}

}  // namespace

bool Read(Json::Value& account) {
  auto result = JsonFile::Load(Present(), account);
  if (result == JsonFile::LoadResult::Missing) {
    if (!MakeLocal()) return false;
    result = JsonFile::Load(Present(), account);
  }
  if (result != JsonFile::LoadResult::Loaded)
    return Fail(__LINE__, "Read", "account.json cannot be read or parsed");
  if (UserIdOf(account).empty()) return Fail(__LINE__, "Read", "account.json names no user");
  Protect();
  return true;
}

bool Reread(const std::string& userId, Json::Value& account) {
  Json::Value stored;
  if (JsonFile::Load(Present(), stored) != JsonFile::LoadResult::Loaded) return false;
  if (UserIdOf(stored) != userId) return false;
  account = std::move(stored);
  return true;
}

bool Store(const Json::Value& account) { return StoreTo(Present(), account); }

Json::Value Imported() {
  Json::Value exported;
  return JsonFile::Load(Import(), exported) == JsonFile::LoadResult::Loaded ? exported : Json::Value();
}

bool StoreImported(const Json::Value& exported) {
  std::error_code error;
  if (exported.isNull()) {
    fs::remove(Import(), error);
    return !error;
  }
  error = platform::MakeFolder(JsonFile::Folder());
  if (error) return Fail(__LINE__, "StoreImported", "the folder cannot be made: " + error.message());
  return StoreTo(Import(), exported);
}

bool TakeAside(const std::string& userId, Json::Value& account) {
  const auto result = JsonFile::Load(Aside(userId), account);
  if (result == JsonFile::LoadResult::Missing) {
    account = NewAccount(userId);
    return true;
  }
  if (result == JsonFile::LoadResult::Loaded && UserIdOf(account) == userId) return true;
  return Fail(__LINE__, "TakeAside", "the account that was kept aside cannot be read or parsed");
}

bool Switch(Json::Value current, const Json::Value& next) {
  const std::string userId = UserIdOf(current);
  if (!userId.empty() && userId != UserIdOf(next)) {
    DropSession(current);
    if (!StoreTo(Aside(userId), current)) return false;
  }
  return Store(next);
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

}  // namespace AccountFile
