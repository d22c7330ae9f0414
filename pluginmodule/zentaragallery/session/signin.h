#pragma once

#include <string>

#include "host/account/userauthservice.h"

class GallerySession;

// Puts another account, and so another gallery, in the place of the present one. The
// gallery is closed meanwhile; the host has ended what it runs beside it. Blocks, and
// talks to the service.
namespace SignIn {

struct Wish {
  std::string server;  // its address
  std::string user;
  std::string password;
  std::string authority;   // PEM, trusted instead of the system's; empty: as before
  bool takeLocal = false;  // notes what the local gallery holds; TakeLocal::Finish is the caller's
};

struct Outcome {
  // What kept it from being tried: nothing of the account has changed then.
  std::string refused;
  // Of the login or the log-out.
  UserAuthService::LoginResult result = UserAuthService::LoginResult::NotStored;
  // Why there is no gallery now, in English; empty when there is one.
  std::string notOpened;

  bool IsDone() const { return refused.empty() && result == UserAuthService::LoginResult::Done; }
};

Outcome Login(GallerySession& session, const Wish& wish);
// `result` is Done or NotStored.
Outcome Logout(GallerySession& session);

// The id of the words for a result.
const char* WordsOf(UserAuthService::LoginResult result);
// The same for a change of the password.
const char* WordsOf(UserAuthService::PasswordResult result);

}  // namespace SignIn
