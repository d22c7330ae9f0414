#include <CLI/CLI.hpp>

#include "commands.h"
#include "common/platform/files.h"
#include "common/platform/guid.h"
#include "common/platform/paths.h"
#include "host/cloudtrouble.h"
#include "host/curlppx.h"
#include "host/globalparamwrapper.h"
#include "host/jsonfile.h"
#include "host/userauthservice.h"
#include "password.h"
#include "resources/resourcetext.h"

namespace {

const char* LoginWords(UserAuthService::LoginResult result) {
  switch (result) {
    case UserAuthService::LoginResult::Done:
      return "IDS_LOGIN_DONE";
    case UserAuthService::LoginResult::Refused:
      return "IDS_LOGIN_REFUSED";
    case UserAuthService::LoginResult::Unreachable:
      return "IDS_LOGIN_UNREACHABLE";
    case UserAuthService::LoginResult::NotTrusted:
      return CloudTrouble::kNotTrusted;
    case UserAuthService::LoginResult::NotAllowed:
      return "IDS_LOGIN_NOT_ALLOWED";
    case UserAuthService::LoginResult::NotStored:
      return "IDS_LOGIN_NOT_STORED";
    case UserAuthService::LoginResult::KeysUnreadable:
      return "IDS_LOGIN_KEYS_UNREADABLE";
    case UserAuthService::LoginResult::NoMemory:
      return "IDS_LOGIN_NO_MEMORY";
  }
  return "";
}

// What a login trusts in place of the system's authorities; as before when it did
// not come to a session.
class TrustedAuthority {
 public:
  // Copies the user's file into the profile. False, told, when it holds no
  // certificate or cannot be kept.
  bool Take(const std::string& file, Output& output) {
    std::string text;
    const auto failed = output.Terminal().ReadFile(file, text);
    if (failed || text.find("-----BEGIN CERTIFICATE-----") == std::string::npos) {
      output.Error("no certificate can be read from " + file + (failed ? ": " + failed.message() : ""));
      return false;
    }
    // A new name: the one that counts now must stay whole if this login fails.
    const auto kept = JsonFile::Folder() / ("cloud-ca-" + platform::NewGuid() + ".pem");
    auto error = platform::MakeFolder(JsonFile::Folder());
    if (!error) error = platform::CreateAtomically(kept, text);
    changed = !error && GlobalParamWrapper::GetInstance()->SetCloudCaFile(platform::WidePath(kept));
    if (!changed) output.Error("the certificate cannot be kept in " + kept.string());
    return changed;
  }
  void Keep() { changed = false; }
  ~TrustedAuthority() {
    if (changed) (void)GlobalParamWrapper::GetInstance()->SetCloudCaFile(before);
  }
  TrustedAuthority() = default;
  TrustedAuthority(const TrustedAuthority&) = delete;
  TrustedAuthority& operator=(const TrustedAuthority&) = delete;

 private:
  const std::wstring before = GlobalParamWrapper::GetInstance()->GetCloudCaFile();
  bool changed = false;
};

// Runs `change` while no gallery is open, and opens the one that belongs to the
// account afterwards.
Exit WithoutGallery(Session& session, Output& output, const std::function<Exit()>& change) {
  session.Close();
  const Exit exit = change();
  return session.OpenAgain(output) ? exit : Exit::Failed;
}

struct LoginWish {
  std::string server;
  std::string user;
  std::string passwordFile;
  std::string caFile;
};

Exit OpenSession(const LoginWish& wish, const std::string& password, Output& output) {
  TrustedAuthority trusted;
  if (!wish.caFile.empty() && !trusted.Take(wish.caFile, output)) return Exit::Failed;
  const auto result = UserAuthService::GetInstance()->Login(wish.server, wish.user, password);
  if (result == UserAuthService::LoginResult::Done) {
    trusted.Keep();
    output.Say("Logged in at " + wish.server + " as " + wish.user + ".");
    return Exit::Done;
  }
  const bool strange = result == UserAuthService::LoginResult::NotTrusted;
  output.Error("cannot log in at " + wish.server + ": " +
               (strange ? NotTrustedText(wish.server) : ResourceText::GetUtf8(LoginWords(result))));
  return Exit::Failed;
}

Exit Login(Session& session, const LoginWish& wish, Output& output) {
  const auto password = ReadPassword(wish.passwordFile, output);
  if (!password) return Exit::Failed;
  return WithoutGallery(session, output, [&] { return OpenSession(wish, *password, output); });
}

Exit Logout(Session& session, Output& output) {
  return WithoutGallery(session, output, [&output] {
    if (UserAuthService::GetInstance()->Logout()) return Exit::Done;
    output.Error("the profile cannot be written");
    return Exit::Failed;
  });
}

}  // namespace

void AddAccountCommands(CLI::App& app, const Choose& choose) {
  const auto add = [&choose](CLI::App* command, Command::Run run) {
    command->callback([choose, run = std::move(run)] { choose({run, CommandKind::Long, Account::Changes}); });
  };
  auto wish = std::make_shared<LoginWish>();
  auto* login = app.add_subcommand("login", "Open a session at a photo cloud");
  login->add_option("--server", wish->server, "Its address")->required()->type_name("URL");
  login->add_option("--user", wish->user, "Your name there")->required()->type_name("NAME");
  login->add_option("--password-file", wish->passwordFile, "Read the password from this file's first line")
      ->type_name("FILE");
  login->add_option("--ca", wish->caFile, "Trust this certificate (PEM) instead of the system's authorities")
      ->type_name("FILE");
  add(login, [wish](Session& session, Output& output) { return Login(session, *wish, output); });
  add(app.add_subcommand("logout", "End the session and go back to the local gallery"), &Logout);
}

std::string NotTrustedText(const std::string& server) {
  const std::string fingerprint = curlppx::CurlUrl::Fingerprint(server);
  return ResourceText::GetUtf8(CloudTrouble::kNotTrusted) +
         (fingerprint.empty() ? "" : " Its SHA-256 fingerprint is " + fingerprint + ".") +
         " If it is your own, \"zentaractl login --ca FILE\" trusts it.";
}
