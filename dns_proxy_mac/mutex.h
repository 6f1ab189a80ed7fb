#pragma once

#include <pthread.h>

#include "dns_proxy_mac/thread_annotations.h"

/// A lock that clang's check follows. It is ready before any constructor has run and is never
/// destroyed, because a worker that outlives main may still come for it during exit.
class CAPABILITY("mutex") Mutex {
 public:
  constexpr Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;
  ~Mutex() = default;

  void Lock() ACQUIRE() { pthread_mutex_lock(&mutex_); }
  void Unlock() RELEASE() { pthread_mutex_unlock(&mutex_); }

 private:
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

/// Holds a mutex for the length of a scope.
class SCOPED_CAPABILITY MutexGuard {
 public:
  explicit MutexGuard(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
  MutexGuard(const MutexGuard&) = delete;
  MutexGuard& operator=(const MutexGuard&) = delete;
  ~MutexGuard() RELEASE() { mutex_.Unlock(); }

 private:
  Mutex& mutex_;
};
