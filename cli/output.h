#pragma once

#include <json/json.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "host/profile/commandterminal.h"

// What a command prints: for people as text, for scripts as one JSON document a
// line. Results go to standard output, progress and errors to standard error of
// the terminal where the command was typed.
class Output {
 public:
  Output(bool jsonLines, CommandTerminal& typedAt) : terminal(typedAt), json(jsonLines) {}

  bool IsJson() const { return json; }
  // From here on results are not printed: nobody has asked for them.
  void DropResults() { resultsDropped = true; }
  // One result: the document in JSON form, else the text.
  void Print(const Json::Value& document, const std::string& text);
  // A line for people only.
  void Say(const std::string& text);
  void Error(const std::string& text);
  // A line on standard error for people who wait.
  void Hint(const std::string& text);
  // Sends on what was printed: a command that stays must not keep it from a script.
  void Flush() { terminal.Flush(); }
  // Overwrites the last progress line; nothing when standard error is no terminal.
  void Progress(const std::string& text);
  void EndProgress();

  // Set by Ctrl-C and by whatever else ends the command; long work looks at it
  // between files.
  const std::atomic<bool>& Stopped() const { return terminal.Stopped(); }
  // Whether it is the user who ends it.
  bool IsInterrupted() const { return terminal.StopReason() == CommandTerminal::Stop::Interrupted; }
  // A path as the user means it.
  std::filesystem::path Path(const std::filesystem::path& typed) const { return terminal.Path(typed); }
  CommandTerminal& Terminal() { return terminal; }

 private:
  CommandTerminal& terminal;
  bool json;
  bool resultsDropped = false;
  bool progressShown = false;
};

// A name or a path for scripts, exactly: the bytes of `exact` as `json[key]`, where
// control characters are escaped. Bytes that are no UTF-8 cannot stand in JSON: each
// broken part is U+FFFD there, and "KEYBytes" has all bytes in hexadecimal.
void PutExact(Json::Value& json, const char* key, const std::string& exact);
// Text that may have come from a script's side, without what steers a terminal.
std::string Shown(const std::string& utf8);

// "1.5 MB": decimal units, as people read sizes of files.
std::string SizeText(std::int64_t bytes);
// Local date and time as "2024-06-12 10:15", and the day alone.
std::string TimeTextShort(std::int64_t timeMs);
std::string DayText(std::int64_t timeMs);
// Words with blanks behind up to `width` columns.
std::string Padded(std::string text, std::size_t width);
