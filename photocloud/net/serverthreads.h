#pragma once

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "photocloud/net/message.h"

namespace photocloud {

// Threads for requests of one kind, and a bound for those that wait for them.
// Safe to call from any thread.
class LaneThreads {
 public:
  explicit LaneThreads(int threads) : pool(static_cast<std::size_t>(threads)) {}

  // Returns false when too many wait.
  bool Post(std::function<void()> task);
  void Join() { pool.join(); }

 private:
  std::atomic<int> waiting{0};
  boost::asio::thread_pool pool;
};

// The threads of all lanes but Direct, which is the caller's own.
class Lanes {
 public:
  Lanes(int threads, int derivingThreads);

  // Returns false, and does nothing, when too many requests of the kind wait.
  bool Run(Lane lane, std::function<void()> task);
  void Join();

 private:
  LaneThreads reading;
  LaneThreads storing;
  LaneThreads deriving;
};

// Loops of connections, each run by one thread. Threads that share a loop wake one
// another several times for each request, which takes longer than a page does.
class ConnectionLoops {
 public:
  explicit ConnectionLoops(int count);

  // The loop of the next connection, by turns. Called by one thread at a time.
  boost::asio::io_context::executor_type Next();
  std::vector<std::thread> Start();
  // Safe to call from any thread.
  void Stop();

 private:
  std::vector<std::unique_ptr<boost::asio::io_context>> loops;
  std::size_t next = 0;
};

}  // namespace photocloud
