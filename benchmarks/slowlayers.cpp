// Loaded before a program, makes its files, its database and its connections slow: each
// 400th call of a worker takes two seconds. A call of the first thread takes 200 ms and
// is told with where it comes from, since a window must not make any.
//
// Off until the variable "slowLayersOn" of the program's is set.

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

extern "C" {
std::atomic<bool> slowLayersOn{false};
std::atomic<long> slowLayersCalls{0};
std::atomic<long> slowLayersOfFirst{0};
}

namespace {

constexpr long kEvery = 400;
constexpr long kWorkerMs = 2000, kFirstMs = 200;
thread_local bool inside = false;

void Sleep(long ms) {
  const timespec time{ms / 1000, ms % 1000 * 1'000'000};
  nanosleep(&time, nullptr);
}

void Slow(const char* call) {
  if (!slowLayersOn || inside) return;
  inside = true;
  const long number = ++slowLayersCalls;
  if (gettid() == getpid()) {
    ++slowLayersOfFirst;
    std::fprintf(stderr, "first thread: %s\n", call);
    void* frames[24];
    backtrace_symbols_fd(frames, backtrace(frames, 24), 2);
    Sleep(kFirstMs);
  } else if (number % kEvery == 0) {
    Sleep(kWorkerMs);
  }
  inside = false;
}

template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool IsOurs(const char* path) { return path && std::strstr(path, "eventloop-benchmark") != nullptr; }

}  // namespace

#define SLOW_NEXT(name) static auto* const next = Next<decltype(name)>(#name)

extern "C" {

int open64(const char* path, int flags, ...) {
  static auto* const next = Next<int(const char*, int, ...)>("open64");
  std::va_list rest;
  va_start(rest, flags);
  const auto mode = va_arg(rest, unsigned);
  va_end(rest);
  if (IsOurs(path)) Slow("open");
  return next(path, flags, mode);
}

int open(const char* path, int flags, ...) {
  static auto* const next = Next<int(const char*, int, ...)>("open");
  std::va_list rest;
  va_start(rest, flags);
  const auto mode = va_arg(rest, unsigned);
  va_end(rest);
  if (IsOurs(path)) Slow("open");
  return next(path, flags, mode);
}

int stat(const char* path, struct stat* to) noexcept {
  SLOW_NEXT(stat);
  if (IsOurs(path)) Slow("stat");
  return next(path, to);
}

int statx(int folder, const char* path, int flags, unsigned mask, struct statx* to) noexcept {
  SLOW_NEXT(statx);
  if (IsOurs(path)) Slow("statx");
  return next(folder, path, flags, mask, to);
}

int rename(const char* from, const char* to) noexcept {
  SLOW_NEXT(rename);
  if (IsOurs(from)) Slow("rename");
  return next(from, to);
}

ssize_t pread64(int file, void* to, size_t size, off64_t at) {
  SLOW_NEXT(pread64);
  Slow("pread");
  return next(file, to, size, at);
}

ssize_t pwrite64(int file, const void* from, size_t size, off64_t at) {
  SLOW_NEXT(pwrite64);
  Slow("pwrite");
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
