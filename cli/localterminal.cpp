#include "localterminal.h"

#include <fstream>
#include <iostream>
#include <iterator>

#include "common/platform/terminal.h"

namespace {

namespace fs = std::filesystem;

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

bool LocalTerminal::InputIsTerminal() const { return platform::InputIsTerminal(); }
bool LocalTerminal::ErrorIsTerminal() const { return platform::ErrorIsTerminal(); }

std::optional<std::string> LocalTerminal::ReadLine(const std::string& prompt, Echo echo) {
  WriteError(prompt);
  std::optional<platform::HiddenInput> hidden;
  if (echo == Echo::Hidden) hidden.emplace();
  auto line = TypedLine();
  // The end of the line was hidden, too.
  if (hidden && hidden->IsHidden()) std::cerr << '\n';
  return line;
}

std::optional<std::string> LocalTerminal::TypedLine() const {
  std::string line;
  auto byte = platform::NextInput(Stopped());
  if (!byte) return std::nullopt;
  for (; byte && *byte != '\n'; byte = platform::NextInput(Stopped())) line += *byte;
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
