#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// Folders in which the programs of this one's package lie: that of the running
// program, and that of this library.
std::vector<std::filesystem::path> ProgramFolders();

// A helper program with a channel to it, on which both sides send messages.
//
// The program has its own process group, so that a Ctrl-C of the terminal does not
// reach it, reads nothing from the standard input and prints nothing to the standard
// output. It inherits no open file but the channel. For one thread at a time.
class ChildProcess {
 public:
  // Null when `program` cannot be started.
  static std::unique_ptr<ChildProcess> Start(const std::filesystem::path& program);
  // Ends the program at once, whatever it does.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // False when the program has ended.
  [[nodiscard]] bool Send(std::string_view message);

  enum class Received { Message, Ended, TooLate, Stopped };
  // Waits for a message for at most `patience`; `goesOn` false, asked about every
  // 20 ms, ends the wait.
  Received Receive(std::string& message, std::chrono::milliseconds patience,
                   const std::function<bool()>& goesOn);

  // Waits for a program that ends by itself: its exit status, or minus the signal.
  int Wait();

 private:
  ChildProcess(int process, int opened) : id(process), channel(opened) {}
  int id;
  int channel;
};

// The other end of that channel, in the helper program.
class ParentChannel {
 public:
  // Blocks; false once the parent has closed the channel or has ended.
  [[nodiscard]] static bool Receive(std::string& message);
  [[nodiscard]] static bool Send(std::string_view message);
};

// For a child between fork and exec: it is asked to end when the thread that started it
// does, however that comes about.
void EndWithParent();

}  // namespace platform
