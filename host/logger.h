#pragma once

#include <filesystem>
#include <map>
#include <source_location>
#include <string>
#include <string_view>

// The log of the running client: one rotating text file a program, and the
// operation log of user actions beside it.
//
// Keys and tokens never reach a log: callers do not pass them, and as a second
// line of defence Output masks the value behind the words of a credential
// ("Bearer ...", "Authorization: ...", "accessToken", "refreshToken", "password",
// "ekey", "mk1", "mk2", "userKey").
// Safe from any thread. Before Open everything but errors is dropped, and errors
// go to standard error.
namespace Logger {

enum class Severity : int { Debug = 1, Information = 2, Warning = 3, Error = 5 };

class CloudLogger {
 public:
  static CloudLogger* GetInstance();

  // Starts writing to `file` (its folder is made), at most 4 files of 10 MiB.
  // False, with a line on standard error, when that is not possible.
  bool Open(const std::filesystem::path& file);
  void Close();

  // Lines below `lowest` are dropped.
  void SetLevel(Severity lowest);
  bool Enabled(Severity severity) const;

  // Writes one line. `tag` is the class and method name.
  void Output(std::string_view module, Severity severity, int line, std::string_view tag,
              std::string_view text);

  // Flushes what is buffered, so that a report that is made now is complete.
  void ReportLog();
};

// A user action of note: event, type and action are the numbers under which
// the action is known, `values` its details. Written as one JSON line.
void OutputOperationLog(int event, int type, int action, const std::map<std::string, std::string>& values);

}  // namespace Logger
