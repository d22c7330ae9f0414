#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

// Where a command line was typed: what it prints to and reads from, where it
// stands, and whether it is to end. The terminal of this process, or one at the
// other end of a ControlChannel.
//
// Write, WriteError and RequestStop may be called from any thread, the rest from
// the command's.
class CommandTerminal {
 public:
  // Why a command is to end. The first reason stays, unless it is taken back.
  enum class Stop : int {
    None,
    Interrupted,     // Ctrl-C, or nobody reads any more
    AccountChanges,  // another command logs in or out
    HandedBack,      // the process ends; whoever typed the command runs it himself
  };
  enum class Echo { Shown, Hidden };

  explicit CommandTerminal(std::filesystem::path stands) : workingFolder(std::move(stands)) {}
  virtual ~CommandTerminal() = default;
  CommandTerminal(const CommandTerminal&) = delete;
  CommandTerminal& operator=(const CommandTerminal&) = delete;

  // To standard output, which may keep it until Flush; to standard error at once,
  // behind what was printed. Once one has failed the command is asked to stop.
  virtual void Write(std::string_view text) = 0;
  virtual void Flush() = 0;
  virtual void WriteError(std::string_view text) = 0;
  // False once something printed has got lost.
  virtual bool IsGood() const = 0;

  virtual bool InputIsTerminal() const = 0;
  virtual bool ErrorIsTerminal() const = 0;
  // Shows `prompt` on standard error and reads a line of standard input, without
  // its end. Nothing at the end of the input and after Ctrl-C.
  virtual std::optional<std::string> ReadLine(const std::string& prompt, Echo echo) = 0;
  // Reads a small file as the terminal's process sees it: a shell may name a pipe
  // of that process. Relative to where the terminal stands.
  virtual std::error_code ReadFile(const std::filesystem::path& file, std::string& content) = 0;

  // A path as the user means it.
  std::filesystem::path Path(const std::filesystem::path& typed) const {
    return typed.is_absolute() ? typed : workingFolder / typed;
  }

  void RequestStop(Stop why) {
    Stop none = Stop::None;
    if (reason.compare_exchange_strong(none, why)) stopped = true;
  }
  void TakeStopBack(Stop why) {
    if (reason.compare_exchange_strong(why, Stop::None)) stopped = false;
  }
  const std::atomic<bool>& Stopped() const { return stopped; }
  Stop StopReason() const { return reason; }

  // The largest file that ReadFile takes.
  static constexpr std::uint64_t kMaxFileBytes = std::uint64_t{1} << 20;

 private:
  const std::filesystem::path workingFolder;
  std::atomic<Stop> reason{Stop::None};
  std::atomic<bool> stopped{false};
};
