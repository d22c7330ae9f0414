#pragma once

#include <json/value.h>

#include <functional>
#include <string>

struct PasswordKeys;
namespace NS::Basic {
struct Tokens;
}

// Who is logged in.
//
// On first use a profile gets a local account with a user id of its own, kept in
// "ZentaraCloud/account.json" below the configuration folder with rights for the
// owner only. It holds "userId", "countryCode", "accessToken", "refreshToken" and
// the keys that AccountKeys names. All keys are made together with the account:
// of two processes that start at once on a new profile, one makes it and the
// other takes it over, and no content is ever encrypted with a key that is then
// lost.
//
// Requests take the session from here (NS::TokenProvider).
//
// A login puts the account of the service in its place, which has the service's
// user id, and besides "server", "userName", "accessTokenEnds" (seconds since
// 1970) and "localUserId". The account that stood there is kept beside it with
// its keys, as "account-" and 32 digits of the SHA-256 of its user id, and comes
// back at its user's next login, the local one at a logout. A gallery belongs to
// a user id, so two users never see each other's.
//
// The keys of such an account are made by its first device and lie at the service
// sealed under the password (docs/encryption.md); a login brings them to the
// device, or this device's to the service, before anything is stored here.
//
// An access token ends after a while. Requests renew it in time through
// KeepTokenFresh; each renewal spends the refresh token and stores the next one.
// Two processes of one profile share the file: before one renews, it looks
// whether the other has.
// Safe from any thread.
class UserAuthService {
 public:
  static UserAuthService* GetInstance();

  // Reads the account of the present profile, or makes it, and tells
  // GlobalParamWrapper of the user. False, logged, with nobody logged in, when
  // the profile cannot be written or the account cannot be read or parsed: such a
  // file is left alone, since its id names the user's gallery. Called by the host
  // before InitWnd; calling it again reads anew, as after SetProfileRoot. The master
  // keys that InitMk1AndMk2 made ready stay while they are the account's.
  bool Load();

  enum class LoginResult {
    Done,
    Refused,         // wrong name or password, or the account is disabled
    Unreachable,     // no answer, or none of a photo cloud
    NotTrusted,      // the certificate does not verify
    NotAllowed,      // neither https nor this computer itself
    NotStored,       // the profile cannot be written
    KeysUnreadable,  // the account's keys do not open with this password
    NoMemory,        // deriving keys from the password takes 64 MiB
  };
  // Opens a session at the photo cloud `server` ("https://host:port"). Talks to
  // the service and waits for it. On any result but Done, logged, everything is as
  // it was. The gallery of the user before is closed by the host first.
  LoginResult Login(const std::string& server, const std::string& userName, const std::string& password);
  // Announces it, then ends the session, also when the service cannot be told, and goes back to the local
  // account. False, logged, when the profile cannot be written.
  bool Logout();
  // `listener` is called by each log-out while the session still lasts, on its thread:
  // for whoever works for the user. It stays until the process ends.
  void AtLogout(std::function<void()> listener);

  // Renews the session when its access token ends within a few minutes. True when
  // there is nothing to do or it is done; false, logged, when the service did not
  // renew it. Talks to the service only when it is due.
  bool KeepTokenFresh();
  // Asks the service for its time and tells GlobalParamWrapper. False without an
  // answer, and without a service.
  bool AskServerTime();
  // Renews the session because the service refused `refusedToken`. True when
  // another token is current now.
  bool RenewToken(const std::wstring& refusedToken);

  // The service of this user, without a "/" at the end; empty for a local account.
  std::string GetServerUrl() const;
  std::string GetUserName() const;  // the name at that service, UTF-8

  std::wstring GetCurrentAT() const;  // access token; empty while not logged in
  std::wstring GetCurrentRT() const;  // refresh token
  std::wstring GetCurrentUserID() const;
  std::wstring GetCurrentCountryCode() const;  // two capital letters; empty when not known
  bool IsChinaAccount() const;                 // the country is "CN"

  // Has the master keys mk1 and mk2 ready in GlobalParamWrapper; made at random
  // for a local account that has none. False, logged, when they cannot be stored,
  // when those that are there are no keys or a service's account has none (its
  // next login brings them), and without an account.
  bool InitMk1AndMk2();

  enum class PasswordResult {
    Done,
    Refused,         // the present password is wrong
    Unreachable,     // no answer; whether it was changed is not known, a repeat finds out
    KeysUnreadable,  // the account's keys do not open with the present password
    NoMemory,
  };
  // Changes the account's password at the service, which seals the keys anew in the
  // same step and ends all other sessions; this one goes on. A crash at any point
  // leaves the old password with the old seal or the new one with the new seal.
  PasswordResult ChangePassword(const std::string& password, const std::string& newPassword);

  // The keys for a file that is kept in a safe place: {"format":"zentara-keys-1",
  // "userId","userName","server","keys":{...}}. Null when the account has none.
  Json::Value ExportKeys() const;

  enum class ImportResult {
    Done,
    NoKeys,       // the record is no export, or damaged
    InUse,        // other keys are in use, and contents lie at the service under them
    Refused,      // wrong password
    Unreachable,  // no answer, or the keys were not taken
    NotStored,    // the profile cannot be written
  };
  enum class Replace { UnusedKeys, AnyKeys };
  // Puts the keys of an export in place of the account's, at the service first.
  // `password` is that of the account there; none is needed for a local account.
  // There the keys of an account of a service are kept for the login of its user or of
  // one of that name, which takes them where the service has none, or where those of
  // this very account do not open with the password.
  // Talks to the service. On any result but Done, logged, the profile is as it was.
  ImportResult ImportKeys(const Json::Value& exported, const std::string& password, Replace replace);

 private:
  LoginResult Enter(const std::string& server, const NS::Basic::Tokens& tokens, const PasswordKeys& keys);
  ImportResult ReplaceAtService(const Json::Value& keys, const std::string& password, Replace replace);
  bool Renew(const std::string& refused);

  UserAuthService();
  ~UserAuthService() = delete;  // lives until the process ends
  struct State;
  State* const state;
};
