#include "host/account/accountkeys.h"

#include <array>
#include <span>

#include "common/platform/random.h"
#include "common/platform/text.h"
#include "host/base/hexadecimal.h"
#include "host/base/jsontext.h"

namespace AccountKeys {
namespace {

struct KeyField {
  const char* name;
  std::size_t bytes;
};
// The master keys stand first.
constexpr std::array<KeyField, 6> kFields{
    {{"mk1", 32}, {"mk2", 32}, {"userKey1", 16}, {"userKey3", 32}, {"userKeyId1", 16}, {"userKeyId3", 16}}};
constexpr std::size_t kMasterKeys = 2;
constexpr char kFormer[] = "formerKeys";

using JsonText::Text;

bool Make(std::span<const KeyField> fields, Json::Value& account) {
  for (const KeyField& field : fields) {
    if (!Text(account, field.name).empty()) continue;
    std::vector<std::uint8_t> bytes(field.bytes);
    if (!platform::RandomBytes(bytes)) return false;
    account[field.name] = Hexadecimal::Text(bytes);
  }
  return true;
}

bool Has(std::span<const KeyField> fields, const Json::Value& account) {
  return std::all_of(fields.begin(), fields.end(), [&](const KeyField& field) {
    return Hexadecimal::Bytes(Text(account, field.name), field.bytes).has_value();
  });
}

template <std::size_t Size>
void CopyKey(const Json::Value& account, const char* name, unsigned char (&key)[Size]) {
  const auto bytes = Hexadecimal::Bytes(Text(account, name), Size - 1);
  if (bytes) std::copy(bytes->begin(), bytes->end(), key);
}

template <std::size_t Size>
void CopyId(const Json::Value& account, const char* name, wchar_t (&id)[Size]) {
  const std::wstring text = platform::Utf8ToWide(Text(account, name));
  std::copy_n(text.begin(), std::min(text.size(), Size - 1), id);
}

}  // namespace

bool MakeMissing(Json::Value& account) { return Make(kFields, account); }

bool MakeMissingMasterKeys(Json::Value& account) {
  return Make(std::span(kFields).first(kMasterKeys), account);
}

bool HasMasterKeys(const Json::Value& account) { return Has(std::span(kFields).first(kMasterKeys), account); }

bool AreWhole(const Json::Value& account) { return Has(kFields, account); }

Json::Value Of(const Json::Value& account) {
  Json::Value keys(Json::objectValue);
  for (const KeyField& field : kFields) {
    const std::string text = Text(account, field.name);
    if (!text.empty()) keys[field.name] = text;
  }
  return keys;
}

void Adopt(const Json::Value& keys, Json::Value& account) {
  const Json::Value before = Of(account);
  if (!before.empty() && before != Of(keys)) account[kFormer].append(before);
  for (const KeyField& field : kFields) account[field.name] = Text(keys, field.name);
}

void CopyTo(const Json::Value& account, st_UserInfo& user) {
  CopyKey(account, "userKey1", user.userKey1);
  CopyKey(account, "userKey3", user.userKey3);
  CopyId(account, "userKeyId1", user.userKeyId1);
  CopyId(account, "userKeyId3", user.userKeyId3);
}

}  // namespace AccountKeys
