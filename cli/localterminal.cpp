#include "localterminal.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <fstream>
#include <iostream>
#include <iterator>

namespace {

namespace fs = std::filesystem;

// How soon a question ends after Ctrl-C.
constexpr int kInputStepMs = 100;

// Keeps what is typed off the screen.
class HiddenInput {
 public:
  explicit HiddenInput(CommandTerminal::Echo echo) {
    hidden = echo == CommandTerminal::Echo::Hidden && tcgetattr(STDIN_FILENO, &before) == 0;
    termios silent = before;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (hidden) tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
  }
  ~HiddenInput() {
    if (!hidden) return;
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
    std::cerr << '\n';
  }
  HiddenInput(const HiddenInput&) = delete;
  HiddenInput& operator=(const HiddenInput&) = delete;

 private:
  termios before{};
  bool hidden = false;
};

// One byte at a time, so that what follows the line is there for the next reader.
// Nothing at the end of the input, when it cannot be read, and after Ctrl-C.
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

fs::path Here() {
  std::error_code gone;
  auto folder = fs::current_path(gone);
  // A folder that was deleted: what is named in it is not there.
  return gone ? "/dev/null" : folder;
}

}  // namespace

LocalTerminal::LocalTerminal() : CommandTerminal(Here()) {}

void LocalTerminal::Write(std::string_view text) {
  if (std::cout.write(text.data(), static_cast<std::streamsize>(text.size()))) return;
  good = false;
  RequestStop(Stop::Interrupted);
}

void LocalTerminal::Flush() {
  if (std::cout.flush()) return;
  good = false;
  RequestStop(Stop::Interrupted);
}

void LocalTerminal::WriteError(std::string_view text) {
  std::cout.flush();
  std::cerr << text << std::flush;
}

bool LocalTerminal::InputIsTerminal() const { return ::isatty(STDIN_FILENO) == 1; }
bool LocalTerminal::ErrorIsTerminal() const { return ::isatty(STDERR_FILENO) == 1; }

std::optional<std::string> LocalTerminal::ReadLine(const std::string& prompt, Echo echo) {
  WriteError(prompt);
  const HiddenInput hidden(echo);
  std::string line;
  auto byte = NextInput(Stopped());
  if (!byte) return std::nullopt;
  for (; byte && *byte != '\n'; byte = NextInput(Stopped())) line += *byte;
  if (Stopped()) return std::nullopt;
  return line;
}

std::error_code LocalTerminal::ReadFile(const fs::path& file, std::string& content) {
  std::ifstream input(Path(file), std::ios::binary);
  content.assign(std::istreambuf_iterator<char>(input), {});
  if (!input.is_open()) return {errno, std::generic_category()};
  if (content.size() > kMaxFileBytes) return std::make_error_code(std::errc::file_too_large);
  return {};
}
