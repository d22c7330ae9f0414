#pragma once

#include <functional>
#include <vector>

// Holds back calls to listeners on this thread while a lock is held, and makes
// them, in order, at the end of the outermost scope. A scope stands in front of
// the lock, so that it ends after it.
class DeferredEvents {
 public:
  DeferredEvents() : outer(current) {
    if (!outer) current = this;
  }
  ~DeferredEvents() {
    if (outer) return;
    current = nullptr;
    for (const auto& call : calls) call();
  }
  DeferredEvents(const DeferredEvents&) = delete;
  DeferredEvents& operator=(const DeferredEvents&) = delete;

  // At once, or at the end of this thread's scope.
  static void Run(std::function<void()> call) {
    if (current) {
      current->calls.push_back(std::move(call));
    } else {
      call();
    }
  }

 private:
  static inline thread_local DeferredEvents* current = nullptr;
  DeferredEvents* outer;
  std::vector<std::function<void()>> calls;
};
