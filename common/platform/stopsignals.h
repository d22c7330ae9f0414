#pragma once

#include <functional>
#include <memory>

namespace platform {

// How a user or the system asks this process to end.
enum class StopSignal { Interrupt, Terminate };

// Hands Ctrl-C (Interrupt), and the system's requests to end and the end of the
// terminal (Terminate), to a function instead of ending the process. Writing to a
// pipe whose reader has ended becomes a failure of the write instead of the end.
//
// Make it before any other thread, which then leaves these signals alone. The
// function is called on a thread of its own, one call at a time. For the life of
// the process: destroying it ends the calls but does not bring the signals' usual
// effects back.
class StopSignals {
 public:
  explicit StopSignals(std::function<void(StopSignal)> onSignal);
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  // The process ends by the signal that came last, as if nobody had caught it, so
  // that a shell sees why.
  [[noreturn]] static void EndByInterrupt();

 private:
  struct State;
  const std::unique_ptr<State> state;
};

}  // namespace platform
