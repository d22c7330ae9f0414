#include "support/process.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <sstream>

extern char** environ;

Process::Process(const std::vector<std::string>& command) {
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, ends[0]);
  posix_spawn_file_actions_addclose(&actions, ends[1]);
  std::vector<std::string> words = command;
  std::vector<char*> arguments;
  for (auto& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  if (posix_spawn(&pid, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) std::abort();
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  fromProgram = ends[0];
}

Process::~Process() {
  if (pid > 0) {
    Signal(SIGKILL);
    (void)Wait();
  }
  close(fromProgram);
}

std::string Process::ReadLine() {
  std::string line;
  for (char c = 0; read(fromProgram, &c, 1) == 1 && c != '\n';) line += c;
  return line;
}

bool Process::Running() {
  siginfo_t ended{};
  return waitid(P_PID, static_cast<id_t>(pid), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 && ended.si_pid == 0;
}

void Process::Signal(int number) const { kill(pid, number); }

int Process::Wait(std::string* output) {
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
