#include "common/platform/childprocess.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace platform {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// Where the helper program finds its end of the channel.
constexpr int kChannel = 3;
constexpr std::chrono::milliseconds kLook{20};
// A message is [length, 4 bytes][text]. Nothing that is sent comes near it.
constexpr std::uint32_t kLongestMessage = 16 << 20;
using Length = std::array<char, 4>;

bool SendAll(int handle, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(handle, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool SendMessage(int handle, std::string_view message) {
  const auto count = static_cast<std::uint32_t>(message.size());
  Length length;
  std::memcpy(length.data(), &count, length.size());
  return message.size() <= kLongestMessage && SendAll(handle, std::string(length.data(), length.size())) &&
         SendAll(handle, message);
}

// Takes bytes as long as `mayRead` says that some are there.
template <typename MayRead>
bool ReceiveAll(int handle, char* buffer, std::size_t size, MayRead mayRead) {
  while (size > 0 && mayRead()) {
    const ssize_t count = ::recv(handle, buffer, size, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    buffer += count;
    size -= static_cast<std::size_t>(count);
  }
  return size == 0;
}

template <typename MayRead>
bool ReceiveMessage(int handle, std::string& message, MayRead mayRead) {
  Length length;
  std::uint32_t count = 0;
  if (!ReceiveAll(handle, length.data(), length.size(), mayRead)) return false;
  std::memcpy(&count, length.data(), length.size());
  if (count > kLongestMessage) return false;
  message.resize(count);
  return ReceiveAll(handle, message.data(), message.size(), mayRead);
}

// What posix_spawn is told about the helper program.
class Settings {
 public:
  explicit Settings(int channel) {
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawnattr_init(&attributes);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, channel, kChannel);
    ::posix_spawn_file_actions_addclosefrom_np(&actions, kChannel + 1);
    // Signals that this process keeps from its threads have their usual effect there.
    sigset_t signals;
    sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes, &signals);
    sigfillset(&signals);
    ::posix_spawnattr_setsigdefault(&attributes, &signals);
    ::posix_spawnattr_setpgroup(&attributes, 0);
    ::posix_spawnattr_setflags(&attributes,
                               POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  }
  ~Settings() {
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
  }
  Settings(const Settings&) = delete;
  Settings& operator=(const Settings&) = delete;

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
};

}  // namespace

std::vector<fs::path> ProgramFolders() {
  std::vector<fs::path> folders;
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (!error) folders.push_back(program.parent_path());
  Dl_info library{};
  if (::dladdr(reinterpret_cast<const void*>(&ProgramFolders), &library) != 0 && library.dli_fname)
    folders.push_back(fs::absolute(library.dli_fname, error).parent_path());
  return folders;
}

std::unique_ptr<ChildProcess> ChildProcess::Start(const fs::path& program) {
  int pair[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) return nullptr;
  const Settings settings(pair[1]);
  std::string name = program.string();
  char* const arguments[] = {name.data(), nullptr};
  pid_t process = -1;
  const int failed =
      ::posix_spawn(&process, name.c_str(), &settings.actions, &settings.attributes, arguments, environ);
  ::close(pair[1]);
  if (failed == 0) return std::unique_ptr<ChildProcess>(new ChildProcess(process, pair[0]));
  ::close(pair[0]);
  return nullptr;
}

ChildProcess::~ChildProcess() {
  if (id > 0) {
    (void)::kill(-id, SIGKILL);  // with what it has started
    (void)Wait();
  }
  ::close(channel);
}

bool ChildProcess::Send(std::string_view message) { return SendMessage(channel, message); }

ChildProcess::Received ChildProcess::Receive(std::string& message, std::chrono::milliseconds patience,
                                             const std::function<bool()>& goesOn) {
  const auto end = Clock::now() + patience;
  Received why = Received::Ended;
  const auto mayRead = [&] {
    for (;;) {
      pollfd wait{channel, POLLIN, 0};
      const int ready = ::poll(&wait, 1, static_cast<int>(kLook.count()));
      if (ready > 0) return true;
      if (ready < 0 && errno != EINTR) return false;
      why = goesOn() ? Received::TooLate : Received::Stopped;
      if (why == Received::Stopped || Clock::now() >= end) return false;
      why = Received::Ended;
    }
  };
  return ReceiveMessage(channel, message, mayRead) ? Received::Message : why;
}

int ChildProcess::Wait() {
  if (id <= 0) return 0;
  int status = 0;
  while (::waitpid(id, &status, 0) < 0 && errno == EINTR) {
  }
  id = -1;
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

bool ParentChannel::Receive(std::string& message) {
  return ReceiveMessage(kChannel, message, [] { return true; });
}

bool ParentChannel::Send(std::string_view message) { return SendMessage(kChannel, message); }

void EndWithParent() { (void)prctl(PR_SET_PDEATHSIG, SIGTERM); }

}  // namespace platform
