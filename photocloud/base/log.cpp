#include "photocloud/base/log.h"

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

}  // namespace photocloud
