#include "password.h"

#include <termios.h>
#include <unistd.h>

#include <fstream>
#include <iostream>

namespace {

// Keeps what is typed off the screen.
class HiddenInput {
 public:
  HiddenInput() {
    hidden = tcgetattr(STDIN_FILENO, &before) == 0;
    termios silent = before;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (hidden) tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
  }
  ~HiddenInput() {
    if (hidden) tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
  }
  HiddenInput(const HiddenInput&) = delete;
  HiddenInput& operator=(const HiddenInput&) = delete;

 private:
  termios before{};
  bool hidden = false;
};

std::string FirstLine(std::istream& input) {
  std::string line;
  std::getline(input, line);
  // The service's operator may have written the file on another system.
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

}  // namespace

std::optional<std::string> ReadPassword(const std::string& file) {
  if (!file.empty()) {
    std::ifstream input(file);
    if (!input) return std::nullopt;
    return FirstLine(input);
  }
  std::cerr << "Password: " << std::flush;
  const HiddenInput hidden;
  const std::string password = FirstLine(std::cin);
  std::cerr << '\n';
  return password;
}
