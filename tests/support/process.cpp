#include "support/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <sstream>
#include <utility>

extern char** environ;

Process::Process(const std::vector<std::string>& command, Input input) {
  int ends[2], inputEnds[2] = {-1, -1};
  // Closed in other programs that start: one that kept an end would hide the end of the stream.
  if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  if (input == Input::Written) {
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, inputEnds) != 0) std::abort();
    posix_spawn_file_actions_adddup2(&actions, inputEnds[0], STDIN_FILENO);
  }
  std::vector<std::string> words = command;
  std::vector<char*> arguments;
  for (auto& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  if (posix_spawn(&pid, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) std::abort();
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  fromProgram = ends[0];
  if (input == Input::Written) close(inputEnds[0]);
  toProgram = inputEnds[1];
}

Process::~Process() {
  if (pid > 0) {
    Signal(SIGKILL);
    (void)Wait();
  }
  close(fromProgram);
  if (toProgram >= 0) close(toProgram);
}

bool Process::WriteLine(const std::string& line) const {
  const std::string text = line + "\n";
  for (std::size_t done = 0; done < text.size();) {
    // A socket, so that a program that has ended raises no signal here.
    const ssize_t count = send(toProgram, text.data() + done, text.size() - done, MSG_NOSIGNAL);
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

std::string Process::ReadLine() {
  while (true) {
    if (const auto end = unread.find('\n'); end != std::string::npos) {
      std::string line = unread.substr(0, end);
      unread.erase(0, end + 1);
      return line;
    }
    char buffer[4096];
    const ssize_t count = read(fromProgram, buffer, sizeof buffer);
    if (count <= 0) return std::exchange(unread, {});
    unread.append(buffer, static_cast<std::size_t>(count));
  }
}

bool Process::Running() {
  siginfo_t ended{};
  return waitid(P_PID, static_cast<id_t>(pid), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid == 0;
}

void Process::Signal(int number) const { kill(pid, number); }

int Process::Wait(std::string* output) {
  if (output) *output += std::exchange(unread, {});
  char buffer[4096];
  for (ssize_t count = 0; (count = read(fromProgram, buffer, sizeof buffer)) > 0;) {
    if (output) output->append(buffer, static_cast<std::size_t>(count));
  }
  int status = 0;
  waitpid(pid, &status, 0);
  pid = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::vector<std::string> Finished::Lines() const {
  std::vector<std::string> lines;
  std::istringstream text(output);
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

Finished RunProgram(const std::vector<std::string>& command) {
  Process process(command);
  Finished finished;
  finished.status = process.Wait(&finished.output);
  return finished;
}
