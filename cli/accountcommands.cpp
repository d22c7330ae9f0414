#include <CLI/CLI.hpp>

#include "commands.h"
#include "common/platform/files.h"
#include "common/platform/guid.h"
#include "common/platform/paths.h"
#include "host/account/userauthservice.h"
#include "host/base/globalparamwrapper.h"
#include "host/base/jsonfile.h"
#include "host/requests/cloudtrouble.h"
#include "host/requests/curlppx.h"
#include "host/requests/ns/basic.h"
#include "password.h"
#include "resources/resourcetext.h"
#include "takelocal.h"

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
  bool takeLocal = false;
  bool leaveLocal = false;
};

// Whether the pictures of the local gallery come along. A script that says nothing
// leaves them, and is told so.
bool TakesLocal(const LoginWish& wish, Output& output) {
  const bool isLocal = UserAuthService::GetInstance()->GetServerUrl().empty();
  const std::size_t count = isLocal && !wish.leaveLocal ? TakeLocal::Count() : 0;
  if (count == 0 || wish.takeLocal) return count > 0;
  const std::string pictures = "the local gallery with " + std::to_string(count) + " files";
  if (!output.Terminal().InputIsTerminal()) {
    output.Error(pictures + " stays behind until the log-out; --take-local takes it along");
    return false;
  }
  const auto answer = output.Terminal().ReadLine("Take " + pictures + " along into the account? [Y/n] ",
                                                 CommandTerminal::Echo::Shown);
  return answer && *answer != "n" && *answer != "N" && *answer != "no";
}

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
  const bool takes = TakesLocal(wish, output);
  if (takes && !TakeLocal::Note(wish.user, output)) return Exit::Failed;
  const Exit exit = WithoutGallery(session, output, [&] { return OpenSession(wish, *password, output); });
  if (exit == Exit::Done && takes) return TakeLocal::Finish(session, output);
  TakeLocal::Forget();
  return exit;
}

Exit Logout(Session& session, Output& output) {
  return WithoutGallery(session, output, [&output] {
    if (UserAuthService::GetInstance()->Logout()) return Exit::Done;
    output.Error("the profile cannot be written");
    return Exit::Failed;
  });
}

constexpr std::size_t kShortestPassword = 8;

const char* PasswordWords(UserAuthService::PasswordResult result) {
  switch (result) {
    case UserAuthService::PasswordResult::Done:
      return "IDS_PASSWORD_CHANGED";
    case UserAuthService::PasswordResult::Refused:
    case UserAuthService::PasswordResult::KeysUnreadable:
      return "IDS_PASSWORD_WRONG";
    case UserAuthService::PasswordResult::Unreachable:
      return "IDS_PASSWORD_UNREACHABLE";
    case UserAuthService::PasswordResult::NoMemory:
      return "IDS_LOGIN_NO_MEMORY";
  }
  return "";
}

bool IsLoggedIn(Output& output) {
  if (!UserAuthService::GetInstance()->GetServerUrl().empty()) return true;
  output.Error("not logged in; \"zentaractl login --server URL --user NAME\" does it");
  return false;
}

// The new password, typed twice where somebody types it.
std::optional<std::string> NewPassword(const std::string& file, Output& output) {
  auto password = ReadPassword(file, output, "New password: ");
  if (!password) return std::nullopt;
  if (password->size() < kShortestPassword) {
    output.Error("a password has at least " + std::to_string(kShortestPassword) + " characters");
    return std::nullopt;
  }
  if (!file.empty() || !output.Terminal().InputIsTerminal()) return password;
  const auto again = ReadPassword({}, output, "New password again: ");
  if (again == password) return password;
  if (again) output.Error("the two are not the same");
  return std::nullopt;
}

Exit ChangePassword(const std::string& passwordFile, const std::string& newFile, Output& output) {
  if (!IsLoggedIn(output)) return Exit::Failed;
  const auto present = ReadPassword(passwordFile, output, "Present password: ");
  if (!present) return Exit::Failed;
  const auto next = NewPassword(newFile, output);
  if (!next) return Exit::Failed;
  const auto result = UserAuthService::GetInstance()->ChangePassword(*present, *next);
  const std::string words = ResourceText::GetUtf8(PasswordWords(result));
  if (result == UserAuthService::PasswordResult::Done) {
    output.Say(words);
    return Exit::Done;
  }
  output.Error(words);
  return Exit::Failed;
}

Exit TellFailure(const NS::RawAnswer& answer, const std::int64_t troubles, Output& output) {
  const std::string words = CloudTrouble::Since(troubles);
  output.Error(!words.empty() ? ResourceText::GetUtf8(words)
               : answer.error ? answer.error->Reason()
                              : "the photo cloud does not do it");
  return Exit::Failed;
}

void PrintSession(const NS::Basic::SessionRecord& session, Output& output) {
  Json::Value json(Json::objectValue);
  json["id"] = session.id;
  json["deviceId"] = session.deviceId;
  json["createdTime"] = Json::Int64{session.createdMs};
  json["lastUsedTime"] = Json::Int64{session.lastUsedMs};
  json["current"] = session.current;
  output.Print(json, Padded(session.id, 6) + "  last used " + TimeTextShort(session.lastUsedMs) + "  since " +
                         TimeTextShort(session.createdMs) + "  " + session.deviceId +
                         (session.current ? "  (this one)" : ""));
}

Exit ListDevices(Output& output) {
  if (!IsLoggedIn(output)) return Exit::Failed;
  const auto troubles = CloudTrouble::Count();
  const auto answer = NS::Request::Sync(NS::Basic::SessionsReq::Get());
  if (!answer.payload) return TellFailure(answer, troubles, output);
  for (const auto& session : answer.payload->sessions) PrintSession(session, output);
  return Exit::Done;
}

Exit EndDevice(const std::string& id, Output& output) {
  if (!IsLoggedIn(output)) return Exit::Failed;
  const auto troubles = CloudTrouble::Count();
  const auto answer = NS::Request::Sync(NS::Basic::SessionsReq::End(id));
  return answer.HasPayload() ? Exit::Done : TellFailure(answer, troubles, output);
}

void AddPassword(CLI::App& app, const Choose& choose) {
  auto present = std::make_shared<std::string>();
  auto next = std::make_shared<std::string>();
  auto* command = app.add_subcommand("password", "Change the account's password; other devices log in again");
  command->add_option("--password-file", *present, "Read the present password from this file's first line")
      ->type_name("FILE");
  command->add_option("--new-password-file", *next, "Read the new password from this file's first line")
      ->type_name("FILE");
  // Long: somebody is asked. The session stays, and so what runs.
  command->callback([=] {
    choose({[=](Session&, Output& output) { return ChangePassword(*present, *next, output); },
            CommandKind::Long});
  });
}

void AddDevices(CLI::App& app, const Choose& choose) {
  auto* devices = app.add_subcommand("devices", "List the account's sessions, the newest use first");
  devices->require_subcommand(0, 1);
  auto id = std::make_shared<std::string>();
  auto* end = devices->add_subcommand("end", "End a session: a device that was lost gets nothing more");
  end->add_option("ID", *id)->required();
  devices->callback([=] {
    if (end->parsed()) {
      choose({[=](Session&, Output& output) { return EndDevice(*id, output); }, CommandKind::Long});
    } else {
      choose({[](Session&, Output& output) { return ListDevices(output); }, CommandKind::Long});
    }
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
  auto* take = login->add_flag("--take-local", wish->takeLocal, "Import the local gallery into the account");
  login->add_flag("--leave-local", wish->leaveLocal, "Leave the local gallery behind until the log-out")
      ->excludes(take);
  add(login, [wish](Session& session, Output& output) { return Login(session, *wish, output); });
  add(app.add_subcommand("logout", "End the session and go back to the local gallery"), &Logout);
  AddPassword(app, choose);
  AddDevices(app, choose);
}

std::string NotTrustedText(const std::string& server) {
  const std::string fingerprint = curlppx::CurlUrl::Fingerprint(server);
  return ResourceText::GetUtf8(CloudTrouble::kNotTrusted) +
         (fingerprint.empty() ? "" : " Its SHA-256 fingerprint is " + fingerprint + ".") +
         " If it is your own, \"zentaractl login --ca FILE\" trusts it.";
}
