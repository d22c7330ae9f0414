#pragma once

#include <mutex>
#include <shared_mutex>

// Lock types that clang's -Wthread-safety understands. With other compilers the
// annotations are empty.
#if defined(__clang__)
#define ZENTARA_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define ZENTARA_THREAD_ATTRIBUTE(x)
#endif
#define CAPABILITY(x) ZENTARA_THREAD_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY ZENTARA_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) ZENTARA_THREAD_ATTRIBUTE(guarded_by(x))
#define REQUIRES(...) ZENTARA_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define REQUIRES_SHARED(...) ZENTARA_THREAD_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define ACQUIRE(...) ZENTARA_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define ACQUIRE_SHARED(...) ZENTARA_THREAD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define RELEASE(...) ZENTARA_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define RELEASE_SHARED(...) ZENTARA_THREAD_ATTRIBUTE(release_shared_capability(__VA_ARGS__))
#define RELEASE_GENERIC(...) ZENTARA_THREAD_ATTRIBUTE(release_generic_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) ZENTARA_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define TRY_ACQUIRE_SHARED(...) ZENTARA_THREAD_ATTRIBUTE(try_acquire_shared_capability(__VA_ARGS__))
#define EXCLUDES(...) ZENTARA_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS ZENTARA_THREAD_ATTRIBUTE(no_thread_safety_analysis)

namespace platform {

class CAPABILITY("mutex") Mutex {
 public:
  void lock() ACQUIRE() { mutex.lock(); }
  void unlock() RELEASE() { mutex.unlock(); }
  bool try_lock() TRY_ACQUIRE(true) { return mutex.try_lock(); }

 private:
  std::mutex mutex;
};

class CAPABILITY("mutex") SharedMutex {
 public:
  void lock() ACQUIRE() { mutex.lock(); }
  void unlock() RELEASE() { mutex.unlock(); }
  bool try_lock() TRY_ACQUIRE(true) { return mutex.try_lock(); }
  void lock_shared() ACQUIRE_SHARED() { mutex.lock_shared(); }
  void unlock_shared() RELEASE_SHARED() { mutex.unlock_shared(); }
  bool try_lock_shared() TRY_ACQUIRE_SHARED(true) { return mutex.try_lock_shared(); }

 private:
  std::shared_mutex mutex;
};

class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& held) ACQUIRE(held) : mutex(held) { mutex.lock(); }
  ~MutexLock() RELEASE() { mutex.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex;
};

// Exclusive hold of a reader-writer lock.
class SCOPED_CAPABILITY WriterLock {
 public:
  explicit WriterLock(SharedMutex& held) ACQUIRE(held) : mutex(held) { mutex.lock(); }
  ~WriterLock() RELEASE() { mutex.unlock(); }
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;

 private:
  SharedMutex& mutex;
};

// Shared hold of a reader-writer lock.
class SCOPED_CAPABILITY ReaderLock {
 public:
  explicit ReaderLock(SharedMutex& held) ACQUIRE_SHARED(held) : mutex(held) { mutex.lock_shared(); }
  ~ReaderLock() RELEASE_GENERIC() { mutex.unlock_shared(); }
  ReaderLock(const ReaderLock&) = delete;
  ReaderLock& operator=(const ReaderLock&) = delete;

 private:
  SharedMutex& mutex;
};

}  // namespace platform
