#pragma once

#include <memory>
#include <string>

// Who is logged in.
//
// For now a local account: on first use a profile gets a user id of its own,
// kept in "account.json" below the configuration folder with rights for the
// owner only. Safe from any thread.
class UserAuthService {
 public:
  static UserAuthService* GetInstance();

  // Reads the account of the present profile, or makes it. False, logged, when
  // the profile cannot be written. Called by the host before InitWnd; calling it
  // again reads anew, as after SetProfileRoot.
  bool Load();

  std::wstring GetCurrentAT() const;  // access token; empty while not logged in
  std::wstring GetCurrentRT() const;  // refresh token
  std::wstring GetCurrentUserID() const;
  std::wstring GetCurrentCountryCode() const;
  bool IsChinaAccount() const;

  // Has the master keys mk1 and mk2 ready in GlobalParamWrapper; made at random
  // for an account that has none. False when they cannot be stored.
  bool InitMk1AndMk2();

 private:
  UserAuthService();
  struct State;
  std::unique_ptr<State> state;
};
