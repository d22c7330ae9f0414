#pragma once

#include <concepts>
#include <functional>
#include <string>

#include "host/profile/profileowner.h"
#include "output.h"
#include "session.h"

namespace CLI {
class App;
}

// What a command has to do with the account of the profile.
enum class Account {
  Any,      // nothing that lasts; a change of the account waits for its end
  Used,     // long work with the service: a change of the account stops it
  Changes,  // it changes the account, and so runs alone
};

// What a command does once the profile is open. Several run at once, each on a
// thread of its own: a command prints to its Output alone, and takes paths from it.
// Each group of commands puts its own into `app`, which calls `choose` with the one
// that the user named.
struct Command {
  using Run = std::function<Exit(Session&, Output&)>;

  Command() = default;
  template <typename Work>
  requires std::invocable<Work, Session&, Output&> Command(Work work, CommandKind how = CommandKind::Short,
                                                           Account with = Account::Any)
      : run(std::move(work)), kind(how), account(with) {}

  Run run;
  CommandKind kind = CommandKind::Short;
  Account account = Account::Any;
};
using Choose = std::function<void(Command)>;

void AddImportCommands(CLI::App& app, const Choose& choose);
void AddAlbumCommands(CLI::App& app, const Choose& choose);
void AddFileCommands(CLI::App& app, const Choose& choose);
void AddInfoCommands(CLI::App& app, const Choose& choose);
void AddSyncCommands(CLI::App& app, const Choose& choose);
void AddTransferCommands(CLI::App& app, const Choose& choose);
void AddAccountCommands(CLI::App& app, const Choose& choose);
void AddKeyCommands(CLI::App& app, const Choose& choose);
void AddThumbnailCommands(CLI::App& app, const Choose& choose);

// The words for a certificate that is not trusted, with what the user can do.
std::string NotTrustedText(const std::string& server);

// Days with their counts, albums with their sizes.
void PrintTimeLine(Output& output);
void PrintAlbums(Output& output);
// How far the gallery is in step with its photo cloud; nothing without a session.
void PrintSyncState(Output& output);
