#include "session/signin.h"

#include "host/account/trustedauthority.h"
#include "host/requests/cloudtrouble.h"
#include "session/gallerysession.h"
#include "session/takelocal.h"

namespace SignIn {

using LoginResult = UserAuthService::LoginResult;
using PasswordResult = UserAuthService::PasswordResult;

namespace {

void OpenSession(const Wish& wish, Outcome& outcome) {
  TrustedAuthority trusted;
  if (!wish.authority.empty()) outcome.refused = trusted.Take(wish.authority);
  if (!outcome.refused.empty()) return;
  outcome.result = UserAuthService::GetInstance()->Login(wish.server, wish.user, wish.password);
  if (outcome.result == LoginResult::Done) trusted.Keep();
}

}  // namespace

Outcome Login(GallerySession& session, const Wish& wish) {
  Outcome outcome;
  if (wish.takeLocal) outcome.refused = TakeLocal::Note(wish.user);
  if (!outcome.refused.empty()) return outcome;
  session.Close();
  OpenSession(wish, outcome);
  outcome.notOpened = session.OpenAgain();
  if (!outcome.IsDone() || !wish.takeLocal) TakeLocal::Forget();
  return outcome;
}

Outcome Logout(GallerySession& session) {
  Outcome outcome;
  session.Close();
  if (UserAuthService::GetInstance()->Logout()) outcome.result = LoginResult::Done;
  outcome.notOpened = session.OpenAgain();
  return outcome;
}

const char* WordsOf(LoginResult result) {
  switch (result) {
    case LoginResult::Done:
      return "IDS_LOGIN_DONE";
    case LoginResult::Refused:
      return "IDS_LOGIN_REFUSED";
    case LoginResult::Unreachable:
      return "IDS_LOGIN_UNREACHABLE";
    case LoginResult::NotTrusted:
      return CloudTrouble::kNotTrusted;
    case LoginResult::NotAllowed:
      return "IDS_LOGIN_NOT_ALLOWED";
    case LoginResult::NotStored:
      return "IDS_LOGIN_NOT_STORED";
    case LoginResult::KeysUnreadable:
      return "IDS_LOGIN_KEYS_UNREADABLE";
    case LoginResult::NoMemory:
      return "IDS_LOGIN_NO_MEMORY";
  }
  return "";
}

const char* WordsOf(PasswordResult result) {
  switch (result) {
    case PasswordResult::Done:
      return "IDS_PASSWORD_CHANGED";
    case PasswordResult::Refused:
    case PasswordResult::KeysUnreadable:
      return "IDS_PASSWORD_WRONG";
    case PasswordResult::Unreachable:
      return "IDS_PASSWORD_UNREACHABLE";
    case PasswordResult::NoMemory:
      return "IDS_LOGIN_NO_MEMORY";
  }
  return "";
}

}  // namespace SignIn
