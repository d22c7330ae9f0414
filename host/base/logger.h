#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

// The log of the running client: one rotating text file a program, and the
// operation log of user actions beside it, which has the same name with
// "-operations" before the extension.
//
// A line reads "time severity [thread] module tag:line text". Line breaks and
// other control characters of the text are written as "\n" or "\x1B", so that a
// name or an answer of a server cannot forge a line.
//
// Keys and tokens never reach a log: callers do not pass them, and as a second
// line of defence Output masks the value behind the words of a credential
// ("Bearer ...", "Authorization: ...", "accessToken", "refreshToken", "password",
// "ekey", "mk1", "mk2", "userKey").
// Safe from any thread. Before Open everything but errors is dropped, and errors
// go to standard error.
namespace Logger {

// How much of each log is kept: the newest `files` files of `fileBytes` bytes.
struct LogLimits {
  std::size_t fileBytes = std::size_t{10} * 1024 * 1024;
  std::size_t files = 4;
};

enum class Severity : int { Debug = 1, Information = 2, Warning = 3, Error = 5 };

class CloudLogger {
 public:
  static CloudLogger* GetInstance();

  // Starts writing to `file` (its folder is made) in place of the present one.
  // False, with a line on standard error, when that is not possible; the log is
  // closed then.
  bool Open(const std::filesystem::path& file, const LogLimits& limits = {});
  void Close();

  // Lines below `lowest` are dropped; Information at the start.
  void SetLevel(Severity lowest);
  // Costs one atomic read: ask it before an expensive text is put together.
  bool Enabled(Severity severity) const;

  // Writes one line. `tag` is the class and method name.
  void Output(std::string_view module, Severity severity, int line, std::string_view tag,
              std::string_view text);

  // Flushes what is buffered, so that a report that is made now is complete.
  void ReportLog();
  // The report of one run of a task under its event number: a line of the
  // operation log, {"event":16018,"report":{...},"time":...}. `json` is an object.
  void ReportLog(int event, const std::string& json);

  // One line of the operation log; used through OutputOperationLog.
  void OutputOperation(const std::string& json);

 private:
  CloudLogger();
  ~CloudLogger() = delete;  // lives until the process ends
  struct State;
  State* const state;
};

// A user action of note: event, type and action are the numbers under which
// the action is known, `values` its details. Written as one JSON line with the
// time in ms: {"action":0,"event":160,"time":...,"type":1,"values":{...}}. Dropped
// while the log is closed.
void OutputOperationLog(int event, int type, int action, const std::map<std::string, std::string>& values);

}  // namespace Logger
