#include "password.h"

namespace {

std::string FirstLine(std::string text) {
  text.resize(std::min(text.find('\n'), text.size()));
  // The service's operator may have written the file on another system.
  if (text.ends_with('\r')) text.pop_back();
  return text;
}

}  // namespace

std::optional<std::string> ReadPassword(const std::string& file, Output& output, const std::string& prompt) {
  if (file.empty()) {
    auto line = output.Terminal().ReadLine(prompt, CommandTerminal::Echo::Hidden);
    if (line) return FirstLine(std::move(*line));
    output.Error("no password was given");
    return std::nullopt;
  }
  std::string content;
  if (const auto error = output.Terminal().ReadFile(file, content)) {
    output.Error("cannot read the password file " + file + ": " + error.message());
    return std::nullopt;
  }
  return FirstLine(std::move(content));
}
