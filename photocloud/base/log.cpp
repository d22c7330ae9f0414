#include "photocloud/base/log.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

#include "photocloud/base/json.h"
#include "photocloud/base/timetext.h"

namespace photocloud {
namespace {

constexpr const char* kLevelNames[] = {"info", "warning", "error"};

std::string TimeNow() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return FormatTime(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

}  // namespace

void Log(LogLevel level, std::string_view event,
         std::initializer_list<std::pair<const char*, std::string>> fields) {
  std::string line;
  const auto add = [&line](std::string_view key, std::string_view value) {
    line += line.empty() ? "{\"" : ",\"";
    line.append(key).append("\":");
    AppendText(line, value);
  };
  for (const auto& [key, value] : fields) add(key, value);
  add("event", event);
  add("level", kLevelNames[static_cast<int>(level)]);
  add("time", TimeNow());
  line += "}\n";
  // One call per line: lines of several threads do not mix.
  std::fwrite(line.data(), 1, line.size(), stderr);
}

bool OpenLog(const std::string& file) {
  const int handle = ::open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  if (handle < 0) return false;
  // In place of standard error, so that what libraries write there comes along.
  const bool done = ::dup2(handle, STDERR_FILENO) >= 0;
  ::close(handle);
  return done;
}

}  // namespace photocloud
