#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace photocloud::testing {

// Runs a program to its end, with `input` as its standard input.
struct ProgramResult {
  int status = -1;
  std::string output;
};
ProgramResult RunProgram(const std::vector<std::string>& arguments, const std::string& input = "");

// The real server in a process of its own, on a free loopback port.
class ServerProcess {
 public:
  // Starts `program serve --data ... --listen 127.0.0.1:0 more...` and waits
  // for its first line. Without a port there, says on standard error why. Its log goes to the file `log` in
  // the data folder.
  ServerProcess(const std::string& program, const std::string& data,
                const std::vector<std::string>& more = {});
  // Kills it when it still runs.
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  int Port() const { return port; }
  pid_t Process() const { return process; }
  const std::string& FirstLine() const { return firstLine; }
  void Signal(int number) const;
  // Waits for its end; the exit status, or minus the signal's number.
  int Wait();

 private:
  void TellWhyNot(const std::string& data);

  pid_t process = -1;
  int endedWith = 0;
  int port = 0;
  std::string firstLine;
};

}  // namespace photocloud::testing
