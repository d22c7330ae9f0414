#include "tests/support/slowlayers.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

std::atomic<bool> SlowLayers::on{false};
std::atomic<long> SlowLayers::callsOfFirst{0};
std::atomic<long> SlowLayers::workerMs{0};
std::atomic<long> SlowLayers::firstMs{0};
std::string SlowLayers::root;

namespace {

constexpr long kEvery = 400;
std::atomic<long> calls{0};
thread_local bool inside = false;

void Sleep(long ms) {
  const timespec time{ms / 1000, ms % 1000 * 1'000'000};
  nanosleep(&time, nullptr);
}

// Told with where it comes from: who finds one has to know whose it is.
void CallOfFirst(const char* call) {
  ++SlowLayers::callsOfFirst;
  std::fprintf(stderr, "first thread: %s\n", call);
  void* frames[24];
  backtrace_symbols_fd(frames, backtrace(frames, 24), 2);
  Sleep(SlowLayers::firstMs);
}

void Slow(const char* call) {
  if (!SlowLayers::on || inside) return;
  inside = true;
  const long number = ++calls;
  if (gettid() == getpid()) {
    CallOfFirst(call);
  } else if (number % kEvery == 0) {
    Sleep(SlowLayers::workerMs);
  }
  inside = false;
}

bool IsOurs(const char* path) {
  return path && SlowLayers::on && std::strncmp(path, SlowLayers::root.c_str(), SlowLayers::root.size()) == 0;
}

void SlowPath(const char* call, const char* path) {
  if (IsOurs(path)) Slow(call);
}

}  // namespace

#define SLOW_NEXT(name) static auto* const next = reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))

// Both names that the C library has for opening a file.
#define SLOW_OPEN(name)                        \
  int name(const char* path, int flags, ...) { \
    SLOW_NEXT(name);                           \
    std::va_list rest;                         \
    va_start(rest, flags);                     \
    const auto mode = va_arg(rest, unsigned);  \
    va_end(rest);                              \
    SlowPath(#name, path);                     \
    return next(path, flags, mode);            \
  }

extern "C" {

SLOW_OPEN(open)
SLOW_OPEN(open64)

int stat(const char* path, struct stat* to) noexcept {
  static auto* const next = reinterpret_cast<int (*)(const char*, struct stat*)>(dlsym(RTLD_NEXT, "stat"));
  SlowPath("stat", path);
  return next(path, to);
}

int statx(int folder, const char* path, int flags, unsigned mask, struct statx* to) noexcept {
  static auto* const next =
      reinterpret_cast<int (*)(int, const char*, int, unsigned, struct statx*)>(dlsym(RTLD_NEXT, "statx"));
  SlowPath("statx", path);
  return next(folder, path, flags, mask, to);
}

int mkdir(const char* path, mode_t mode) noexcept {
  SLOW_NEXT(mkdir);
  SlowPath("mkdir", path);
  return next(path, mode);
}

int rename(const char* from, const char* to) noexcept {
  SLOW_NEXT(rename);
  SlowPath("rename", from);
  return next(from, to);
}

ssize_t pread64(int file, void* to, size_t size, off64_t at) {
  SLOW_NEXT(pread64);
  Slow("pread64");
  return next(file, to, size, at);
}

ssize_t pwrite64(int file, const void* from, size_t size, off64_t at) {
  SLOW_NEXT(pwrite64);
  Slow("pwrite64");
  return next(file, from, size, at);
}

int fdatasync(int file) {
  SLOW_NEXT(fdatasync);
  Slow("fdatasync");
  return next(file);
}

int fsync(int file) {
  SLOW_NEXT(fsync);
  Slow("fsync");
  return next(file);
}

int connect(int socket, const sockaddr* to, socklen_t size) {
  SLOW_NEXT(connect);
  Slow("connect");
  return next(socket, to, size);
}

}  // extern "C"
