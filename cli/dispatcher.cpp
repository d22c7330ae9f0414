#include "dispatcher.h"

#include <CLI/CLI.hpp>

namespace {

using Stop = CommandTerminal::Stop;

// Some words of the parser are put together from the program's name.
constexpr char kProgram[] = "zentaractl";

void AddCommands(CLI::App& app, const Choose& choose) {
  AddImportCommands(app, choose);
  AddAlbumCommands(app, choose);
  AddFileCommands(app, choose);
  AddInfoCommands(app, choose);
  AddSyncCommands(app, choose);
  AddTransferCommands(app, choose);
  AddAccountCommands(app, choose);
  AddKeyCommands(app, choose);
  AddThumbnailCommands(app, choose);
}

}  // namespace

bool ParseCommandLine(const std::vector<std::string>& arguments, CommandLine& line, std::ostream& output,
                      std::ostream& errors, Exit& status) {
  CLI::App app("A gallery of photographs and videos.", kProgram);
  app.add_option("--profile", line.profile, "Keep all state under this folder")->type_name("DIR");
  app.add_flag("--json", line.json, "Print one JSON document a line");
  app.require_subcommand(1);
  app.fallthrough();
  AddCommands(app, [&line](Command command) { line.command = std::move(command); });
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));  // It takes them from the end.
    return true;
  } catch (const CLI::ParseError& error) {
    status = app.exit(error, output, errors) == 0 ? Exit::Done : Exit::Usage;
    return false;
  }
}

void TellWaiting(Output& output) { output.Hint("waiting for the same work of another terminal"); }

CommandKind Dispatcher::KindOf(const std::vector<std::string>& arguments) {
  CommandLine line;
  std::ostringstream unread;
  Exit status = Exit::Usage;
  return ParseCommandLine(arguments, line, unread, unread, status) ? line.command.kind : CommandKind::Short;
}

int Dispatcher::Run(const std::vector<std::string>& arguments, CommandTerminal& terminal) {
  CommandLine line;
  std::ostringstream output, errors;
  Exit exit = Exit::Usage;
  if (!ParseCommandLine(arguments, line, output, errors, exit)) {
    terminal.Write(output.str());
    terminal.WriteError(errors.str());
  } else if (line.command.account == Account::Changes) {
    exit = RunAlone(line, terminal);
  } else {
    exit = RunOnce(line, terminal);
    // What can be begun again goes on with the account that is there then.
    while (terminal.StopReason() == Stop::AccountChanges && line.command.kind == CommandKind::Resumable) {
      terminal.TakeStopBack(Stop::AccountChanges);
      exit = RunOnce(line, terminal);
    }
  }
  terminal.Flush();
  return static_cast<int>(terminal.IsGood() ? exit : Exit::Failed);
}

Exit Dispatcher::RunOnce(const CommandLine& line, CommandTerminal& terminal) {
  const auto change =
      line.command.account == Account::Used ? AccountGate::Change::Stops : AccountGate::Change::Awaited;
  if (!session.Gate().Enter(terminal, line.command.kind, change)) return Exit::Failed;
  Output output(line.json, terminal);
  const bool loaded = session.IsLoaded();
  if (!loaded) output.Error("the gallery is not open; end the zentaractl that runs and begin again");
  const Exit exit = loaded ? line.command.run(session, output) : Exit::Failed;
  output.EndProgress();
  session.Gate().Leave(terminal);
  return exit;
}

Exit Dispatcher::RunAlone(const CommandLine& line, CommandTerminal& terminal) {
  if (!session.Gate().BeginChange(terminal)) return Exit::Failed;
  Output output(line.json, terminal);
  const Exit exit = line.command.run(session, output);
  session.Gate().EndChange();
  return exit;
}
