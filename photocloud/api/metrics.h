#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>

#include "photocloud/base/mutex.h"

namespace photocloud {

// Counters of the running server. Safe to call from any thread.
class Metrics {
 public:
  void CountRequest(const std::string& method, const std::string& route, int status, double seconds);

  // Prometheus' text format.
  std::string Text(std::size_t pushStreams) const;

  std::atomic<std::int64_t> connections{0};
  std::atomic<std::int64_t> bytesIn{0};
  std::atomic<std::int64_t> bytesOut{0};

 private:
  struct Series {
    std::int64_t count = 0;
    double seconds = 0;
  };

  mutable Mutex seriesLock;
  // By method, route and status.
  std::map<std::tuple<std::string, std::string, int>, Series> series GUARDED_BY(seriesLock);
};

}  // namespace photocloud
