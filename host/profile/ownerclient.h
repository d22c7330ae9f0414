#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "common/platform/mutex.h"
#include "host/profile/commandterminal.h"

class ControlChannel;
struct ControlCommand;

// Has a command line run by the process that owns the profile, with the terminal
// of this one. For one thread, but Stop.
class OwnerClient {
 public:
  enum class Result {
    Ended,         // it has run; `status` is its exit status
    NobodyThere,   // nothing was begun: the owner begins or ends just now, or is none
    HandedBack,    // stopped there without a loss, to be run here
    OtherVersion,  // nothing was begun: the owner is of the version `text`
    Broken,        // the owner ended in the middle of it
  };
  struct Outcome {
    Result result = Result::NobodyThere;
    int status = 0;
    std::string text;
    std::int64_t process = 0;  // the owner
  };

  Outcome Run(const std::filesystem::path& folder, const ControlCommand& command, CommandTerminal& terminal);
  // Passes Ctrl-C on; any thread.
  void Stop();

 private:
  static Outcome Follow(ControlChannel& channel, CommandTerminal& terminal);

  platform::Mutex lock;
  ControlChannel* current GUARDED_BY(lock) = nullptr;
};
