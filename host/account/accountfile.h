#pragma once

#include <json/value.h>

#include <string>

#include "host/requests/ns/basic.h"

// The account documents of a profile on disk; UserAuthService describes them. All
// are written whole and for the owner only. Failures are logged.
namespace AccountFile {

// Reads the present account, and makes a local one where there is none.
[[nodiscard]] bool Read(Json::Value& account);
// The present account as another process may have stored it; false, with
// `account` as it was, when it cannot be read or is another user's.
bool Reread(const std::string& userId, Json::Value& account);
[[nodiscard]] bool Store(const Json::Value& account);

// The account of `userId` as it was kept aside, or a new one without keys. False
// when what was kept cannot be read.
[[nodiscard]] bool TakeAside(const std::string& userId, Json::Value& account);
// An export of keys that waits for its user's login; null without one. Storing
// null takes it away.
Json::Value Imported();
[[nodiscard]] bool StoreImported(const Json::Value& exported);
// Puts `next` in place of `current`, which is kept aside first, without its
// session: a crash between the two writes then loses no key.
[[nodiscard]] bool Switch(Json::Value current, const Json::Value& next);

void PutTokens(const NS::Basic::Tokens& tokens, Json::Value& account);
void DropSession(Json::Value& account);

}  // namespace AccountFile
