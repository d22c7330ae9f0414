#pragma once

#include <json/value.h>

#include "host/base/globalparamwrapper.h"

// The keys of an account as members of its JSON document, hexadecimal digits:
// "mk1", "mk2" (32 bytes), "userKey1" (16), "userKey3" (32), and the ids
// "userKeyId1", "userKeyId3" (16). Contents are encrypted under them, so a key
// that was in use is never dropped: one that gives way stands in "formerKeys".
namespace AccountKeys {

// Makes at random what the document does not have. False when the system has no
// random numbers to give.
[[nodiscard]] bool MakeMissing(Json::Value& account);
[[nodiscard]] bool MakeMissingMasterKeys(Json::Value& account);

bool HasMasterKeys(const Json::Value& account);
// Whether all are there and of their length.
bool AreWhole(const Json::Value& account);

// The keys alone.
Json::Value Of(const Json::Value& account);
// Puts `keys`, which are whole, in place of those of `account`.
void Adopt(const Json::Value& keys, Json::Value& account);

// The user keys; one that is none stays all zero, which its users test for.
void CopyTo(const Json::Value& account, st_UserInfo& user);

}  // namespace AccountKeys
