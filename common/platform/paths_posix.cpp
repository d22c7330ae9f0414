#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <optional>
#include <vector>

#include "common/platform/mutex.h"
#include "common/platform/paths.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

Mutex profileLock;
// Never destroyed: a thread that still runs at exit may ask for a folder.
fs::path& profileRoot = *new fs::path;  // guarded by profileLock

fs::path ProfileRoot() {
  MutexLock hold(profileLock);
  return profileRoot;
}

// The XDG rules: a value that is not absolute counts as not set.
std::optional<fs::path> AbsoluteFromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  if (!value || value[0] != '/') return std::nullopt;
  return fs::path(value);
}

fs::path HomeFromAccount() {
  std::vector<char> buffer(std::size_t{16} * 1024);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found &&
      found->pw_dir[0] == '/') {
    return found->pw_dir;
  }
  return "/";
}

fs::path UserHome() {
  const auto home = AbsoluteFromEnvironment("HOME");
  return home ? *home : HomeFromAccount();
}

fs::path Root(const char* inProfile, const char* variable, const char* belowHome) {
  if (const fs::path profile = ProfileRoot(); !profile.empty()) return profile / inProfile;
  const auto set = AbsoluteFromEnvironment(variable);
  return set ? *set : UserHome() / belowHome;
}

// The text between the quotes of a shell assignment; empty for anything else.
std::string Unquote(std::string_view text) {
  std::string value;
  if (text.empty() || text.front() != '"') return value;
  for (std::size_t at = 1; at < text.size() && text[at] != '"'; ++at) {
    if (text[at] == '\\' && at + 1 < text.size()) ++at;
    value.push_back(text[at]);
  }
  return value;
}

// A folder as user-dirs.dirs writes it: absolute, or below "$HOME". Home itself
// stands for "there is no such folder".
std::optional<fs::path> UserFolder(const std::string& value) {
  constexpr std::string_view kHome = "$HOME/";
  const fs::path home = UserHome();
  const bool belowHome = value.starts_with(kHome);
  if (!belowHome && !value.starts_with('/')) return std::nullopt;
  const fs::path folder = belowHome ? home / value.substr(kHome.size()) : fs::path(value);
  const fs::path plain = (folder / "").lexically_normal().parent_path();
  if (plain == (home / "").lexically_normal().parent_path()) return std::nullopt;
  return plain;
}

std::optional<fs::path> FromUserDirs(std::string_view name) {
  const auto config = AbsoluteFromEnvironment("XDG_CONFIG_HOME");
  std::ifstream file((config ? *config : UserHome() / ".config") / "user-dirs.dirs");
  const std::string assignment = std::string(name) + "=";
  std::optional<fs::path> folder;
  for (std::string line; std::getline(file, line);) {
    const std::size_t start = line.find_first_not_of(" \t");
    if (start == std::string::npos || line.compare(start, assignment.size(), assignment) != 0) continue;
    folder = UserFolder(Unquote(std::string_view(line).substr(start + assignment.size())));
  }
  return folder;
}

}  // namespace

fs::path DataRoot() { return Root("data", "XDG_DATA_HOME", ".local/share"); }
fs::path CacheRoot() { return Root("cache", "XDG_CACHE_HOME", ".cache"); }
fs::path ConfigRoot() { return Root("config", "XDG_CONFIG_HOME", ".config"); }

fs::path HomeFolder() {
  const fs::path profile = ProfileRoot();
  return profile.empty() ? UserHome() : profile;
}

fs::path PicturesFolder() { return FromUserDirs("XDG_PICTURES_DIR").value_or(UserHome() / "Pictures"); }

fs::path DownloadsFolder() {
  if (const fs::path profile = ProfileRoot(); !profile.empty()) return profile / "downloads";
  return FromUserDirs("XDG_DOWNLOAD_DIR").value_or(UserHome() / "Downloads");
}

void SetProfileRoot(const fs::path& folder) {
  std::error_code ignored;  // Without a current folder the path stays as it was given.
  const fs::path absolute = folder.empty() ? fs::path() : fs::absolute(folder, ignored);
  MutexLock hold(profileLock);
  profileRoot = absolute.empty() ? folder : absolute.lexically_normal();
}

}  // namespace platform
