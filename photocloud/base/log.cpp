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
  Json::Value line(Json::objectValue);
  for (const auto& [key, value] : fields) line[key] = value;
  line["time"] = TimeNow();
  line["level"] = kLevelNames[static_cast<int>(level)];
  line["event"] = std::string(event);
  // One call per line: lines of several threads do not mix.
  const std::string text = WriteJson(line) + "\n";
  std::fwrite(text.data(), 1, text.size(), stderr);
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
