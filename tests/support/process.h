#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// A program that a test starts. Standard error goes to the test's own.
class Process {
 public:
  // Where the program reads: what the test itself reads, or what it writes.
  enum class Input { Inherited, Written };

  explicit Process(const std::vector<std::string>& command, Input input = Input::Inherited);
  // Kills the program if it still runs.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // Sends a line, with the line end; false when the program no longer reads.
  bool WriteLine(const std::string& line) const;
  // The next line of its standard output, without the line end; empty at the end.
  std::string ReadLine();
  // False once the program has ended, which is noticed here.
  bool Running();
  pid_t Id() const { return pid; }
  void Signal(int number) const;
  // Waits for the end. The exit status, or minus the number of the signal that
  // ended it. What it printed and was not read yet goes to `output`.
  int Wait(std::string* output = nullptr);

 private:
  pid_t pid = -1;
  int fromProgram = -1;
  int toProgram = -1;
  std::string unread;
};

struct Finished {
  int status = -1;
  std::string output;
  std::vector<std::string> Lines() const;
};
Finished RunProgram(const std::vector<std::string>& command);
