#pragma once

#include <concepts>
#include <functional>
#include <string>

#include "host/profile/profileowner.h"
#include "items.h"
#include "output.h"
#include "session/folderimport.h"
#include "session/gallerysession.h"

namespace CLI {
class App;
}

// Exit status of the program.
enum class Exit : int { Done = 0, Failed = 1, Usage = 2 };

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
  using Run = std::function<Exit(GallerySession&, Output&)>;

  Command() = default;
  template <typename Work>
  requires std::invocable<Work, GallerySession&, Output&> Command(Work work,
                                                                  CommandKind how = CommandKind::Short,
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

// Says that another command does what only one at a time may do.
void TellWaiting(Output& output);

// Adds the files to the real albums of those names, with progress, a line for each
// refused file and one for the sum.
ImportSum ImportFolders(GallerySession& session, const std::vector<FolderFiles>& folders, Known known,
                        Output& output);
// Goes on with what a login has noted of the local gallery. Failed when a picture could
// not be taken.
Exit TakeLocalAlong(GallerySession& session, Output& output);

// The words for a certificate that is not trusted, with what the user can do.
std::string NotTrustedText(const std::string& server);

// Days with their counts, albums with their sizes.
void PrintTimeLine(Output& output);
void PrintAlbums(Output& output);
// How far the gallery is in step with its photo cloud; nothing without a session.
void PrintSyncState(Output& output);
