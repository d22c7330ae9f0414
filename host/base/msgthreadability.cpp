#include "host/base/msgthreadability.h"

#include <algorithm>
#include <utility>

namespace CommonAbility {

using std::chrono::steady_clock;

void MsgThreadAbility::PostTask(Work work) {
  platform::MutexLock hold(queueLock);
  waiting.push_back(std::move(work));
  arrived.notify_all();
}

void MsgThreadAbility::SetTimer(int id, std::chrono::milliseconds period) {
  KillTimer(id);
  platform::MutexLock hold(queueLock);
  timers.push_back({id, period, steady_clock::now() + period});
  arrived.notify_all();
}

void MsgThreadAbility::KillTimer(int id) {
  platform::MutexLock hold(queueLock);
  std::erase_if(timers, [id](const Timer& timer) { return timer.id == id; });
}

void MsgThreadAbility::TimerExpired(int /*id*/) {}

void MsgThreadAbility::Run() {
  ThreadStarted();
  while (const auto work = WaitForWork()) (*work)();
  ThreadStopping();
  std::deque<Work> dropped;
  platform::MutexLock hold(queueLock);
  dropped.swap(waiting);
}

void MsgThreadAbility::OnStopRequested() {
  platform::MutexLock hold(queueLock);
  arrived.notify_all();
}

std::optional<MsgThreadAbility::Work> MsgThreadAbility::WaitForWork() {
  platform::MutexLock hold(queueLock);
  for (;;) {
    if (StopRequested()) return std::nullopt;
    if (auto work = TakeDue()) return work;
    Wait();
  }
}

std::optional<MsgThreadAbility::Work> MsgThreadAbility::TakeDue() {
  const Time now = steady_clock::now();
  for (Timer& timer : timers) {
    if (timer.due > now) continue;
    timer.due = now + timer.period;
    return [this, id = timer.id] { TimerExpired(id); };
  }
  if (waiting.empty()) return std::nullopt;
  Work work = std::move(waiting.front());
  waiting.pop_front();
  return work;
}

void MsgThreadAbility::Wait() {
  if (timers.empty()) {
    arrived.wait(queueLock);
    return;
  }
  const auto next = std::min_element(timers.begin(), timers.end(),
                                     [](const Timer& a, const Timer& b) { return a.due < b.due; });
  const Time due = next->due;  // The timer may be gone while this thread waits.
  (void)arrived.wait_until(queueLock, due);
}

}  // namespace CommonAbility
