#include <CLI/CLI.hpp>

#include "commands.h"
#include "host/userauthservice.h"
#include "password.h"

namespace {

const char* LoginText(UserAuthService::LoginResult result) {
  switch (result) {
    case UserAuthService::LoginResult::Done:
      return "logged in";
    case UserAuthService::LoginResult::Refused:
      return "wrong name or password, or the account is disabled";
    case UserAuthService::LoginResult::Unreachable:
      return "no photo cloud answers there";
    case UserAuthService::LoginResult::NotAllowed:
      return "the address must begin with https:// unless it is this computer";
    case UserAuthService::LoginResult::NotStored:
      return "the profile cannot be written";
    case UserAuthService::LoginResult::KeysUnreadable:
      return "the account's keys do not open with this password; nothing was stored";
    case UserAuthService::LoginResult::NoMemory:
      return "there is too little memory to derive keys from the password";
  }
  return "";
}

// Runs `change` while no gallery is open, and opens the one that belongs to the
// account afterwards.
Exit WithoutGallery(Session& session, Output& output, const std::function<Exit()>& change) {
  session.Close();
  const Exit exit = change();
  return session.OpenAgain(output) ? exit : Exit::Failed;
}

Exit Login(Session& session, const std::string& server, const std::string& user,
           const std::string& passwordFile, Output& output) {
  const auto password = ReadPassword(passwordFile, output);
  if (!password) return Exit::Failed;
  return WithoutGallery(session, output, [&] {
    const auto result = UserAuthService::GetInstance()->Login(server, user, *password);
    if (result == UserAuthService::LoginResult::Done) {
      output.Say("Logged in at " + server + " as " + user + ".");
      return Exit::Done;
    }
    output.Error("cannot log in at " + server + ": " + LoginText(result));
    return Exit::Failed;
  });
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
  auto server = std::make_shared<std::string>();
  auto user = std::make_shared<std::string>();
  auto passwordFile = std::make_shared<std::string>();
  auto* login = app.add_subcommand("login", "Open a session at a photo cloud");
  login->add_option("--server", *server, "Its address")->required()->type_name("URL");
  login->add_option("--user", *user, "Your name there")->required()->type_name("NAME");
  login->add_option("--password-file", *passwordFile, "Read the password from this file's first line")
      ->type_name("FILE");
  add(login, [=](Session& session, Output& output) {
    return Login(session, *server, *user, *passwordFile, output);
  });
  add(app.add_subcommand("logout", "End the session and go back to the local gallery"), &Logout);
}
