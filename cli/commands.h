#pragma once

#include <functional>
#include <string>

#include "output.h"
#include "session.h"

namespace CLI {
class App;
}

// What a command does once the profile is open. Each group of commands puts its
// own into `app`, which calls `choose` with the one that the user named.
using Command = std::function<Exit(Session&, Output&)>;
using Choose = std::function<void(Command)>;

void AddImportCommands(CLI::App& app, const Choose& choose);
void AddAlbumCommands(CLI::App& app, const Choose& choose);
void AddFileCommands(CLI::App& app, const Choose& choose);
void AddInfoCommands(CLI::App& app, const Choose& choose);
void AddSyncCommands(CLI::App& app, const Choose& choose);
void AddTransferCommands(CLI::App& app, const Choose& choose);
void AddKeyCommands(CLI::App& app, const Choose& choose);
void AddThumbnailCommands(CLI::App& app, const Choose& choose);

// Days with their counts, albums with their sizes.
void PrintTimeLine(Output& output);
void PrintAlbums(Output& output);
// How far the gallery is in step with its photo cloud; nothing without a session.
void PrintSyncState(Output& output);
