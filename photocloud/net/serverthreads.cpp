#include "photocloud/net/serverthreads.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>

namespace photocloud {
namespace {

// Requests that wait for a thread of their lane.
constexpr int kMostWaiting = 256;

}  // namespace

bool LaneThreads::Post(std::function<void()> task) {
  if (++waiting > kMostWaiting) {
    --waiting;
    return false;
  }
  boost::asio::post(pool, [this, work = std::move(task)] {
    --waiting;
    work();
  });
  return true;
}

Lanes::Lanes(int threads, int derivingThreads)
    : reading(threads), storing(threads), deriving(derivingThreads) {}

bool Lanes::Run(Lane lane, std::function<void()> task) {
  if (lane == Lane::Reading) return reading.Post(std::move(task));
  if (lane == Lane::Storing) return storing.Post(std::move(task));
  if (lane == Lane::Deriving) return deriving.Post(std::move(task));
  task();
  return true;
}

void Lanes::Join() {
  reading.Join();
  storing.Join();
  deriving.Join();
}

ConnectionLoops::ConnectionLoops(int count) {
  for (int i = 0; i < count; ++i) loops.push_back(std::make_unique<boost::asio::io_context>(1));
}

boost::asio::io_context::executor_type ConnectionLoops::Next() {
  return loops[next++ % loops.size()]->get_executor();
}

std::vector<std::thread> ConnectionLoops::Start() {
  std::vector<std::thread> threads;
  threads.reserve(loops.size());
  for (const auto& loop : loops) {
    threads.emplace_back([each = loop.get()] {
      const auto work = boost::asio::make_work_guard(*each);
      each->run();
    });
  }
  return threads;
}

void ConnectionLoops::Stop() {
  for (const auto& loop : loops) loop->stop();
}

}  // namespace photocloud
