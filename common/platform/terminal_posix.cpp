#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>

#include "common/platform/terminal.h"

namespace platform {
namespace {

// How soon a question ends after Ctrl-C.
constexpr int kInputStepMs = 100;

}  // namespace

struct HiddenInput::Settings {
  termios values{};
};

bool InputIsTerminal() { return ::isatty(STDIN_FILENO) == 1; }
bool ErrorIsTerminal() { return ::isatty(STDERR_FILENO) == 1; }

HiddenInput::HiddenInput() : before(std::make_unique<Settings>()) {
  if (tcgetattr(STDIN_FILENO, &before->values) != 0) {
    before.reset();
    return;
  }
  termios silent = before->values;
  silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
}

HiddenInput::~HiddenInput() {
  if (before) tcsetattr(STDIN_FILENO, TCSAFLUSH, &before->values);
}

std::optional<char> NextInput(const std::atomic<bool>& stopped) {
  while (!stopped) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (::poll(&input, 1, kInputStepMs) == 0) continue;
    char byte = 0;
    const ssize_t count = ::read(STDIN_FILENO, &byte, 1);
    if (count == 1) return byte;
    if (count == 0 || errno != EINTR) return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace platform
