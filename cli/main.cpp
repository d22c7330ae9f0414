// zentaractl: the gallery on the command line.

#include <CLI/CLI.hpp>
#include <clocale>
#include <iostream>

#include "commands.h"

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  CLI::App app("A gallery of photographs and videos.", "zentaractl");
  std::string profile;
  bool json = false;
  app.add_option("--profile", profile, "Keep all state under this folder")->type_name("DIR");
  app.add_flag("--json", json, "Print one JSON document a line");
  app.require_subcommand(1);
  app.fallthrough();

  Command chosen;
  const Choose choose = [&chosen](Command command) { chosen = std::move(command); };
  AddImportCommands(app, choose);
  AddAlbumCommands(app, choose);
  AddFileCommands(app, choose);
  AddInfoCommands(app, choose);
  AddSyncCommands(app, choose);
  AddTransferCommands(app, choose);
  AddKeyCommands(app, choose);
  AddThumbnailCommands(app, choose);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? static_cast<int>(Exit::Done) : static_cast<int>(Exit::Usage);
  }

  Output output(json);
  Session session;
  if (!session.Open(profile, output)) return static_cast<int>(Exit::Failed);
  const Exit exit = chosen(session, output);
  session.Object().CloseWndClear();
  std::cout.flush();
  return static_cast<int>(std::cout ? exit : Exit::Failed);
}
