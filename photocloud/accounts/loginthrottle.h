#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "photocloud/base/clock.h"
#include "photocloud/base/mutex.h"

namespace photocloud {

// Slows down who guesses passwords, without locking out who owns the name.
//
// Counted by name and address, so that guesses from elsewhere cost the owner
// nothing. The first few answers come at once, then each waits for the one
// before it and longer. Guesses from many addresses at one name wait a little,
// and never so long that the name is closed. An attempt counts before it runs:
// many at the same time are as slow as one after the other. Safe to call from
// any thread.
class LoginThrottle {
 public:
  explicit LoginThrottle(const Clock& serviceClock) : clock(serviceClock) {}

  // Returns how long the attempt's answer has to wait; nothing when so many wait
  // already that this one is not worth running.
  std::optional<std::int64_t> Enter(const std::string& name, const std::string& address);
  // The password was right.
  void Succeed(const std::string& name, const std::string& address);

 private:
  using Key = std::pair<std::string, std::string>;  // Name and address, or name and nothing.

  struct Entry {
    int count = 0;
    std::int64_t nextMs = 0;   // When the next answer may go out.
    std::int64_t untilMs = 0;  // When all is forgotten.
  };

  Entry& Find(const Key& key) REQUIRES(entriesLock);

  const Clock& clock;
  Mutex entriesLock;
  std::map<Key, Entry> entries GUARDED_BY(entriesLock);
};

}  // namespace photocloud
