// Keys of an account as a file or the service gives them back.

#include "fuzz.h"
#include "host/account/accountkeys.h"
#include "host/account/wrappedkeys.h"
#include "host/base/jsontext.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto json = JsonText::Parse(TextOf(data, size));
  if (!json || !json->isObject()) return 0;
  Demand(!WrappedKeys::Open(*json, "user", PasswordKeys::WrapKey{}));
  st_UserInfo user;
  AccountKeys::CopyTo(*json, user);
  if (!AccountKeys::AreWhole(*json)) return 0;
  Json::Value account(Json::objectValue);
  AccountKeys::Adopt(*json, account);
  Demand(AccountKeys::AreWhole(account) && AccountKeys::HasMasterKeys(account));
  return 0;
}
