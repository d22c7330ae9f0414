#pragma once

#include <sys/resource.h>

#include <csignal>

// Makes this process' writes beyond `bytes` of any file fail for a while, as on
// a full disk.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler(std::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit narrowed{bytes, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &narrowed);
  }
  ~FileSizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before{};
  void (*handler)(int);
};
