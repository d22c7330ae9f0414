#pragma once

#include <atomic>
#include <memory>
#include <optional>

// Standard input and standard error as a terminal, of the command line.
namespace platform {

bool InputIsTerminal();
bool ErrorIsTerminal();

// Keeps what is typed off the screen while it lives; nothing when standard input is no
// terminal.
class HiddenInput {
 public:
  HiddenInput();
  ~HiddenInput();
  HiddenInput(const HiddenInput&) = delete;
  HiddenInput& operator=(const HiddenInput&) = delete;

  bool IsHidden() const { return before != nullptr; }

 private:
  struct Settings;
  std::unique_ptr<Settings> before;
};

// One byte of standard input at a time, so that what follows is there for the next
// reader. Nothing at the end of the input, when it cannot be read, and within a tenth of
// a second after `stopped`.
std::optional<char> NextInput(const std::atomic<bool>& stopped);

}  // namespace platform
