#pragma once

#include <string>

// Who is logged in.
//
// For now a local account: on first use a profile gets a user id of its own,
// kept in "ZentaraCloud/account.json" below the configuration folder with rights
// for the owner only. It holds "userId", "countryCode", "accessToken",
// "refreshToken" and, as hexadecimal digits, the keys "mk1", "mk2", "userKey1",
// "userKey3" and the ids "userKeyId1", "userKeyId3". All keys are made together
// with the account: of two processes that start at once on a new profile, one
// makes it and the other takes it over, and no content is ever encrypted with a
// key that is then lost.
// Safe from any thread.
class UserAuthService {
 public:
  static UserAuthService* GetInstance();

  // Reads the account of the present profile, or makes it, and tells
  // GlobalParamWrapper of the user. False, logged, with nobody logged in, when
  // the profile cannot be written or the account cannot be read or parsed: such a
  // file is left alone, since its id names the user's gallery. Called by the host
  // before InitWnd; calling it again reads anew, as after SetProfileRoot.
  bool Load();

  std::wstring GetCurrentAT() const;  // access token; empty while not logged in
  std::wstring GetCurrentRT() const;  // refresh token
  std::wstring GetCurrentUserID() const;
  std::wstring GetCurrentCountryCode() const;  // two capital letters; empty when not known
  bool IsChinaAccount() const;                 // the country is "CN"

  // Has the master keys mk1 and mk2 ready in GlobalParamWrapper; made at random
  // for an account that has none. False, logged, when they cannot be stored, when
  // those that are there are no keys, and without an account.
  bool InitMk1AndMk2();

 private:
  UserAuthService();
  ~UserAuthService() = delete;  // lives until the process ends
  struct State;
  State* const state;
};
