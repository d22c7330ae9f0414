#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace photocloud {

enum class LogLevel { Info, Warning, Error };

// Writes one line of JSON to standard error: time, level, event and fields.
//
// Callers pass ids and codes, never tokens, query texts or bodies. Safe to call
// from any thread.
void Log(LogLevel level, std::string_view event,
         std::initializer_list<std::pair<const char*, std::string>> fields = {});

// Writes to a file from now on, after what it holds; called again, it begins a new
// one where the old one was moved away. False when it cannot be opened: then
// nothing changes.
[[nodiscard]] bool OpenLog(const std::string& file);

}  // namespace photocloud
