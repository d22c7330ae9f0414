#pragma once

#include <atomic>

#include "common/platform/mutex.h"

// A scalar field of a record. Threads may read and write it without a lock; no
// order between fields is promised.
template <typename T>
class Field {
 public:
  Field(T initial = T{}) : value(initial) {}  // NOLINT: a field reads like its value
  Field(const Field& other) : value(other.Get()) {}
  Field& operator=(const Field& other) { return *this = other.Get(); }
  Field& operator=(T next) {
    value.store(next, std::memory_order_relaxed);
    return *this;
  }
  operator T() const { return Get(); }  // NOLINT: a field reads like its value
  T Get() const { return value.load(std::memory_order_relaxed); }

 private:
  std::atomic<T> value;
};

// A larger field, copied in and out under a lock of its own.
template <typename T>
class GuardedField {
 public:
  GuardedField() = default;
  GuardedField(const GuardedField& other) : value(other.Get()) {}
  GuardedField& operator=(const GuardedField& other) {
    Set(other.Get());
    return *this;
  }
  GuardedField& operator=(T next) {
    Set(std::move(next));
    return *this;
  }
  T Get() const {
    platform::MutexLock hold(lock);
    return value;
  }
  void Set(T next) {
    platform::MutexLock hold(lock);
    value.swap(next);
  }
  // Calls `read` with the value under the lock; for a look that needs no copy.
  template <typename Read>
  auto With(Read read) const {
    platform::MutexLock hold(lock);
    return read(value);
  }

 private:
  mutable platform::Mutex lock;
  T value GUARDED_BY(lock){};
};
