#include "host/transfer/speedmeter.h"

namespace {

// Long enough that single buffers do not show, short enough to follow a
// connection that changes.
constexpr std::chrono::seconds kWindow{5};
// Samples that lie closer together tell nothing more.
constexpr std::chrono::milliseconds kApart{100};

}  // namespace

void SpeedMeter::Start(Time now, std::int64_t bytes) { samples.assign({{now, bytes}}); }

std::int64_t SpeedMeter::Measure(Time now, std::int64_t bytes) {
  if (samples.empty() || bytes < samples.back().bytes) Start(now, bytes);
  // The newest sample from before the window stays, so that the whole window is
  // covered.
  while (samples.size() > 1 && samples[1].when <= now - kWindow) samples.pop_front();
  const std::chrono::duration<double> passed = now - samples.front().when;
  const auto gained = static_cast<double>(bytes - samples.front().bytes);
  if (now - samples.back().when >= kApart) samples.push_back({now, bytes});
  return passed >= kApart ? static_cast<std::int64_t>(gained / passed.count()) : 0;
}
