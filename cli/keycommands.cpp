#include <CLI/CLI.hpp>

#include "commands.h"
#include "common/platform/files.h"
#include "host/account/passwordkeys.h"
#include "host/account/userauthservice.h"
#include "host/base/jsonfile.h"
#include "host/base/jsontext.h"
#include "password.h"

namespace {

using ImportResult = UserAuthService::ImportResult;

constexpr char kWarning[] = "Whoever has this file can read all pictures of the account. Write it?";

// Scripts answer with --yes: a question that nobody sees must not count as asked.
bool Agreed(bool yes, const std::string& question, Output& output) {
  if (yes) return true;
  if (!output.Terminal().InputIsTerminal()) {
    output.Error("standard input is no terminal to ask at; --yes agrees");
    return false;
  }
  const auto answer = output.Terminal().ReadLine(question + " [y/N] ", CommandTerminal::Echo::Shown);
  return answer == "y" || answer == "Y" || answer == "yes";
}

Exit Export(const std::string& file, bool yes, Output& output) {
  const Json::Value exported = UserAuthService::GetInstance()->ExportKeys();
  if (exported.isNull()) {
    output.Error("the account has no keys");
    return Exit::Failed;
  }
  if (!Agreed(yes, kWarning, output)) return Exit::Failed;
  const auto error =
      platform::CreateAtomically(output.Path(file), JsonFile::Text(exported), platform::Rights::OwnerOnly);
  if (error) {
    output.Error("cannot write the keys to " + file + ": " + error.message());
    return Exit::Failed;
  }
  output.Say("Keys written to " + file + ". Keep it where only you find it.");
  return Exit::Done;
}

const char* ImportText(ImportResult result) {
  switch (result) {
    case ImportResult::Done:
      return "done";
    case ImportResult::NoKeys:
      return "the file holds no export of keys, or is damaged";
    case ImportResult::InUse:
      return "the account has other keys, and contents were uploaded under them; --replace does it all the "
             "same";
    case ImportResult::Refused:
      return "wrong password";
    case ImportResult::Unreachable:
      return "the photo cloud does not answer, or did not take them";
    case ImportResult::NotStored:
      return "the profile cannot be written";
  }
  return "";
}

Exit Import(const std::string& file, const std::string& passwordFile, bool replace, Output& output) {
  auto* session = UserAuthService::GetInstance();
  std::string content;
  const auto error = output.Terminal().ReadFile(file, content);
  const auto exported = JsonText::Parse(content);
  if (error || !exported) {
    output.Error("cannot read keys from " + file + (error ? ": " + error.message() : ""));
    return Exit::Failed;
  }
  const auto password = session->GetServerUrl().empty() ? std::string() : ReadPassword(passwordFile, output);
  if (!password) return Exit::Failed;
  const auto result =
      session->ImportKeys(*exported, *password,
                          replace ? UserAuthService::Replace::AnyKeys : UserAuthService::Replace::UnusedKeys);
  if (result == ImportResult::Done) {
    output.Say("Keys imported.");
    return Exit::Done;
  }
  output.Error("cannot import the keys of " + file + ": " + ImportText(result));
  return Exit::Failed;
}

Exit PrintLoginSecret(const std::string& user, const std::string& passwordFile, Output& output) {
  const auto password = ReadPassword(passwordFile, output);
  if (!password) return Exit::Failed;
  if (password->empty()) {
    output.Error("no password was given");
    return Exit::Failed;
  }
  const auto keys = PasswordKeys::Derive(user, *password);
  if (!keys) {
    output.Error("there is too little memory to derive the secret");
    return Exit::Failed;
  }
  Json::Value document(Json::objectValue);
  document["userName"] = user;
  document["loginSecret"] = keys->loginSecret;
  output.Print(document, keys->loginSecret);
  return Exit::Done;
}

void AddExport(CLI::App& keys, const Choose& choose) {
  auto file = std::make_shared<std::string>();
  auto yes = std::make_shared<bool>(false);
  auto* command = keys.add_subcommand("export", "Write the account's keys to a new file, to be kept safe");
  command->add_option("file", *file, "New file")->required()->type_name("FILE");
  command->add_flag("--yes", *yes, "Do not ask");
  // Long: somebody may be asked.
  command->callback([=] {
    choose({[=](Session&, Output& output) { return Export(*file, *yes, output); }, CommandKind::Long});
  });
}

void AddImport(CLI::App& keys, const Choose& choose) {
  auto file = std::make_shared<std::string>();
  auto passwordFile = std::make_shared<std::string>();
  auto replace = std::make_shared<bool>(false);
  auto* command = keys.add_subcommand("import", "Bring exported keys back");
  command->add_option("file", *file, "File of \"keys export\"")->required()->type_name("FILE");
  command
      ->add_option("--password-file", *passwordFile,
                   "Read the account's password from this file's first line")
      ->type_name("FILE");
  command->add_flag("--replace", *replace, "Also when contents were uploaded under other keys");
  command->callback([=] {
    choose({[=](Session&, Output& output) { return Import(*file, *passwordFile, *replace, output); },
            CommandKind::Long, Account::Changes});
  });
}

}  // namespace

void AddKeyCommands(CLI::App& app, const Choose& choose) {
  auto* keys = app.add_subcommand("keys", "The account's keys")->require_subcommand(1);
  keys->fallthrough();
  AddExport(*keys, choose);
  AddImport(*keys, choose);
  auto user = std::make_shared<std::string>();
  auto passwordFile = std::make_shared<std::string>();
  auto* secret = app.add_subcommand(
      "login-secret", "Print what a photo cloud's operator needs to add you, instead of your password");
  secret->add_option("--user", *user, "Your name there")->required()->type_name("NAME");
  secret->add_option("--password-file", *passwordFile, "Read the password from this file's first line")
      ->type_name("FILE");
  secret->callback([=] {
    choose({[=](Session&, Output& output) { return PrintLoginSecret(*user, *passwordFile, output); },
            CommandKind::Long});
  });
}
