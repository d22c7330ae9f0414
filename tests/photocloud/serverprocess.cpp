#include "serverprocess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace photocloud::testing {
namespace {

struct Pipe {
  Pipe() { (void)!::pipe2(ends, O_CLOEXEC); }
  ~Pipe() {
    CloseRead();
    CloseWrite();
  }
  void CloseRead() { CloseEnd(0); }
  void CloseWrite() { CloseEnd(1); }
  void CloseEnd(int which) {
    if (ends[which] >= 0) ::close(ends[which]);
    ends[which] = -1;
  }
  int ends[2] = {-1, -1};
};

[[noreturn]] void Execute(const std::vector<std::string>& arguments) {
  std::vector<char*> pointers;
  for (const std::string& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  ::execv(pointers[0], pointers.data());
  ::_exit(127);
}

int StatusOf(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status); }

}  // namespace

ProgramResult RunProgram(const std::vector<std::string>& arguments, const std::string& input) {
  Pipe in;
  Pipe out;
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(in.ends[0], STDIN_FILENO);
    ::dup2(out.ends[1], STDOUT_FILENO);
    ::dup2(out.ends[1], STDERR_FILENO);
    Execute(arguments);
  }
  in.CloseRead();
  out.CloseWrite();
  (void)!::write(in.ends[1], input.data(), input.size());
  in.CloseWrite();
  ProgramResult result;
  char buffer[4096];
  for (ssize_t count; (count = ::read(out.ends[0], buffer, sizeof buffer)) > 0;) {
    result.output.append(buffer, static_cast<std::size_t>(count));
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  result.status = StatusOf(status);
  return result;
}

ServerProcess::ServerProcess(const std::string& program, const std::string& data,
                             const std::vector<std::string>& more) {
  std::vector<std::string> arguments = {program, "serve", "--data", data, "--listen", "127.0.0.1:0"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  const std::string log = data + "/log";
  Pipe out;
  process = ::fork();
  if (process == 0) {
    ::dup2(out.ends[1], STDOUT_FILENO);
    const int file = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::dup2(file, STDERR_FILENO);
    Execute(arguments);
  }
  out.CloseWrite();
  for (char letter; ::read(out.ends[0], &letter, 1) == 1 && letter != '\n';) firstLine += letter;
  const auto colon = firstLine.rfind(':');
  if (colon != std::string::npos) port = std::atoi(firstLine.c_str() + colon + 1);
  if (port == 0) TellWhyNot(data);
}

// A server that does not come up says so in its log, which goes with the test's folder.
void ServerProcess::TellWhyNot(const std::string& data) {
  std::fprintf(stderr, "the server gave no port, it ended with %d\n", Wait());
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(data, error)) {
    if (entry.path().filename().string().find("log") == std::string::npos) continue;
    std::ifstream file(entry.path());
    std::cerr << entry.path() << ":\n" << file.rdbuf() << "\n";
  }
}

ServerProcess::~ServerProcess() {
  if (process <= 0) return;
  Signal(SIGKILL);
  (void)Wait();
}

void ServerProcess::Signal(int number) const {
  if (process > 0) ::kill(process, number);
}

int ServerProcess::Wait() {
  if (process <= 0) return endedWith;
  int status = 0;
  ::waitpid(process, &status, 0);
  process = -1;
  return endedWith = StatusOf(status);
}

}  // namespace photocloud::testing
