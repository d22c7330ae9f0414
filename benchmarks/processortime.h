#pragma once

#include <sys/types.h>
#include <time.h>

#include <cstdio>
#include <cstdlib>

// Seconds of processor time that a process has taken; 0 is this one. Ends the
// benchmark when the process has gone: what it would print then is no figure.
inline double CpuOf(pid_t process) {
  clockid_t clock{};
  timespec taken{};
  if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &taken) != 0) {
    std::fprintf(stderr, "the processor time of process %d cannot be read\n", static_cast<int>(process));
    std::exit(1);
  }
  return static_cast<double>(taken.tv_sec) + static_cast<double>(taken.tv_nsec) / 1e9;
}
