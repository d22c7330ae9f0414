#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <shared_mutex>

// Locks with annotations by which clang's -Wthread-safety checks that what a lock
// guards is touched under it only. Other compilers see empty words.
#if defined(__clang__)
#define PHOTOCLOUD_THREADS(word) __attribute__((word))
#else
#define PHOTOCLOUD_THREADS(word)
#endif
#define CAPABILITY(name) PHOTOCLOUD_THREADS(capability(name))
#define SCOPED_CAPABILITY PHOTOCLOUD_THREADS(scoped_lockable)
#define GUARDED_BY(lock) PHOTOCLOUD_THREADS(guarded_by(lock))
#define REQUIRES(...) PHOTOCLOUD_THREADS(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) PHOTOCLOUD_THREADS(acquire_capability(__VA_ARGS__))
#define ACQUIRE_SHARED(...) PHOTOCLOUD_THREADS(acquire_shared_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) PHOTOCLOUD_THREADS(try_acquire_capability(__VA_ARGS__))
#define RELEASE(...) PHOTOCLOUD_THREADS(release_capability(__VA_ARGS__))
#define RELEASE_GENERIC(...) PHOTOCLOUD_THREADS(release_generic_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS PHOTOCLOUD_THREADS(no_thread_safety_analysis)

namespace photocloud {

class CAPABILITY("mutex") Mutex {
 public:
  void Lock() ACQUIRE() { native.lock(); }
  void Unlock() RELEASE() { native.unlock(); }

 private:
  friend class Condition;
  std::mutex native;
};

class CAPABILITY("mutex") SharedMutex {
 public:
  void Lock() ACQUIRE() { native.lock(); }
  void LockShared() ACQUIRE_SHARED() { native.lock_shared(); }
  void Unlock() RELEASE() { native.unlock(); }
  void UnlockShared() PHOTOCLOUD_THREADS(release_shared_capability()) { native.unlock_shared(); }

 private:
  std::shared_mutex native;
};

class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& held) ACQUIRE(held) : mutex(held) { mutex.Lock(); }
  ~MutexLock() RELEASE() { mutex.Unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex;
};

// Exclusive hold of a SharedMutex.
class SCOPED_CAPABILITY WriterLock {
 public:
  explicit WriterLock(SharedMutex& held) ACQUIRE(held) : mutex(held) { mutex.Lock(); }
  ~WriterLock() RELEASE() { mutex.Unlock(); }
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;

 private:
  SharedMutex& mutex;
};

// Shared hold of a SharedMutex.
class SCOPED_CAPABILITY ReaderLock {
 public:
  explicit ReaderLock(SharedMutex& held) ACQUIRE_SHARED(held) : mutex(held) { mutex.LockShared(); }
  ~ReaderLock() RELEASE_GENERIC() { mutex.UnlockShared(); }
  ReaderLock(const ReaderLock&) = delete;
  ReaderLock& operator=(const ReaderLock&) = delete;

 private:
  SharedMutex& mutex;
};

// Waits may end without a reason: callers look again in a loop, which the analysis
// follows where it would not follow a predicate.
class Condition {
 public:
  void Wait(Mutex& mutex) REQUIRES(mutex) {
    std::unique_lock<std::mutex> held(mutex.native, std::adopt_lock);
    native.wait(held);
    held.release();
  }
  // False when the time came first.
  bool WaitUntil(Mutex& mutex, std::chrono::steady_clock::time_point end) REQUIRES(mutex) {
    std::unique_lock<std::mutex> held(mutex.native, std::adopt_lock);
    const bool isWoken = native.wait_until(held, end) == std::cv_status::no_timeout;
    held.release();
    return isWoken;
  }
  void WakeOne() { native.notify_one(); }
  void WakeAll() { native.notify_all(); }

 private:
  std::condition_variable native;
};

}  // namespace photocloud
