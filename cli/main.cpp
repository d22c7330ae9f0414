// zentaractl: the gallery on the command line.

#include <clocale>
#include <iostream>
#include <thread>

#include "common/platform/stopsignals.h"
#include "dispatcher.h"
#include "host/profile/controlchannel.h"
#include "host/profile/ownerclient.h"
#include "localterminal.h"
#include "takelocal.h"

namespace {

using Result = OwnerClient::Result;
using Stop = CommandTerminal::Stop;

// An owner that begins or ends is met in a moment.
constexpr std::chrono::milliseconds kRetryStep{20};
constexpr std::chrono::seconds kPatience{3};

// One run of the program: as the profile's owner, or as a client of the one that
// is there.
class Program {
 public:
  explicit Program(std::vector<std::string> words) : arguments(std::move(words)) {}

  Exit Run() {
    Exit status = Exit::Usage;
    if (!ParseCommandLine(arguments, line, std::cout, std::cerr, status)) return status;
    if (!Session::ChooseProfile(terminal.Path(line.profile), line.profile.empty(), output))
      return Exit::Failed;
    const auto start = std::chrono::steady_clock::now();
    bool told = false;
    for (;;) {
      if (const auto exit = Try()) return *exit;
      if (terminal.Stopped()) return Exit::Failed;
      if (!told && std::chrono::steady_clock::now() - start > kPatience) {
        output.Hint("waiting for another zentaractl of this profile to end");
        told = true;
      }
      std::this_thread::sleep_for(kRetryStep);
    }
  }

 private:
  // Nothing when the owner of the profile is just changing.
  std::optional<Exit> Try() {
    std::error_code error;
    switch (owner.TryTake(Session::DataFolder(), line.command.kind, error)) {
      case ProfileOwner::Take::Owned:
        return RunHere();
      case ProfileOwner::Take::Elsewhere:
        return HandOver();
      case ProfileOwner::Take::Failed:
        break;
    }
    output.Error("cannot open the profile in " + Session::DataFolder().string() + ": " + error.message());
    return Exit::Failed;
  }

  Exit RunHere() {
    Session session;
    if (!session.Open(output)) return Exit::Failed;
    Output quiet(false, terminal);
    quiet.DropResults();
    (void)TakeLocal::Finish(session, quiet);  // What a process that was killed has left.
    Dispatcher dispatcher(session);
    owner.Serve(dispatcher);
    const int status = dispatcher.Run(arguments, terminal);
    owner.Finish([this] {
      output.Hint("done; a command of another terminal still runs in this process, Ctrl-C stops it");
    });
    session.Close();
    owner.Release();
    return static_cast<Exit>(status);
  }

  std::optional<Exit> HandOver() {
    const ControlCommand command{arguments, terminal.Path("").string(), terminal.InputIsTerminal(),
                                 terminal.ErrorIsTerminal()};
    const auto outcome = client.Run(Session::DataFolder(), command, terminal);
    const std::string process = "the process " + std::to_string(outcome.process);
    switch (outcome.result) {
      case Result::Ended:
        return terminal.IsGood() ? static_cast<Exit>(outcome.status) : Exit::Failed;
      case Result::NobodyThere:
      case Result::HandedBack:
        return std::nullopt;
      case Result::OtherVersion:
        output.Error(process + ", which has this profile open, is of the version " + outcome.text +
                     " and this one of " + ProfileOwner::Version() + "; end it first. Nothing was done.");
        return Exit::Failed;
      case Result::Broken:
        break;
    }
    if (!terminal.IsGood()) return Exit::Failed;
    output.Error(process +
                 ", which has this profile open and ran this command, has ended in the middle of it. Look "
                 "whether it was done before you repeat it.");
    return Exit::Failed;
  }

  // The first Ctrl-C ends the own command, the next one those of others that run
  // here, and whoever still waits after that ends as a crash does, which loses nothing.
  void OnSignal(platform::StopSignal signal) {
    ++signals;
    terminal.RequestStop(Stop::Interrupted);
    client.Stop();
    if (signal == platform::StopSignal::Terminate || signals > 1) owner.StopAll(Stop::Interrupted);
    if (signals > 2) platform::StopSignals::EndByInterrupt();
  }

  const std::vector<std::string> arguments;
  int signals = 0;  // the signals' thread
  CommandLine line;
  LocalTerminal terminal;
  Output output{false, terminal};
  ProfileOwner owner;
  OwnerClient client;
  platform::StopSignals caught{[this](platform::StopSignal signal) { OnSignal(signal); }};
};

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  const Exit exit = Program({argv + std::min(argc, 1), argv + argc}).Run();
  std::cout.flush();
  return static_cast<int>(std::cout ? exit : Exit::Failed);
}
