#pragma once

#include <string>
#include <vector>

#include "accountgate.h"
#include "commands.h"
#include "host/profile/profileowner.h"
#include "session.h"

// A command line that was understood.
struct CommandLine {
  std::string profile;  // as it was typed
  bool json = false;
  Command command;
};

// Understands the arguments that follow the program's name. False for a request
// for help and for wrong usage; `status` is the exit status then, and the words
// go to `output` and `errors`.
bool ParseCommandLine(const std::vector<std::string>& arguments, CommandLine& line, std::ostream& output,
                      std::ostream& errors, Exit& status);

// Runs command lines on the one gallery that is loaded, several at once, wherever
// they were typed.
class Dispatcher : public ICommandRunner {
 public:
  explicit Dispatcher(Session& loaded) : session(loaded) {}

  CommandKind KindOf(const std::vector<std::string>& arguments) override;
  int Run(const std::vector<std::string>& arguments, CommandTerminal& terminal) override;

 private:
  Exit RunOnce(const CommandLine& line, CommandTerminal& terminal);
  Exit RunAlone(const CommandLine& line, CommandTerminal& terminal);

  Session& session;
  AccountGate gate;
};
