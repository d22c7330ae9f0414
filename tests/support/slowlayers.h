#pragma once

#include <atomic>
#include <string>

// Files, database and connections of the program that links this, watched and made slow:
// its calls of the C library go through here. A window must make none of them, so those
// of the program's first thread are counted apart.
//
// Off until `on` is set. `root` and the delays are set before that.
struct SlowLayers {
  static std::atomic<bool> on;
  static std::atomic<long> callsOfFirst;
  // Only paths below it count; open files and sockets always do.
  static std::string root;
  // Each 400th call of a worker, and each of the first thread.
  static std::atomic<long> workerMs, firstMs;
};
