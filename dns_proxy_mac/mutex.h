#pragma once

#include <pthread.h>

// Locks, and who may touch what under which, in a form that clang checks at compile time
// (-Wthread-safety). Other compilers read past it.

#if defined(__clang__)
#define THREAD_ANNOTATION(x) __attribute__((x))
#else
#define THREAD_ANNOTATION(x)
#endif

/// The type is a lock.
#define CAPABILITY(name) THREAD_ANNOTATION(capability(name))
/// The type holds a lock from its construction to its destruction.
#define SCOPED_CAPABILITY THREAD_ANNOTATION(scoped_lockable)
/// The field is read and written only by a thread that holds the lock.
#define GUARDED_BY(lock) THREAD_ANNOTATION(guarded_by(lock))
/// The caller holds the lock.
#define REQUIRES(...) THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
/// The caller does not hold the lock.
#define EXCLUDES(...) THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
/// The function takes the lock and returns with it held.
#define ACQUIRE(...) THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
/// The function gives the lock back.
#define RELEASE(...) THREAD_ANNOTATION(release_capability(__VA_ARGS__))
/// The function does what the check cannot follow; the reason stands beside it.
#define NO_THREAD_SAFETY_ANALYSIS THREAD_ANNOTATION(no_thread_safety_analysis)

/// A lock that is ready before any constructor has run and is never destroyed, because a worker
/// that outlives main may still come for it during exit.
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

/// Holds a lock for the length of a scope.
template <typename Lockable>
class SCOPED_CAPABILITY Guard {
 public:
  explicit Guard(Lockable& lock) ACQUIRE(lock) : lock_(lock) { lock_.Lock(); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;
  ~Guard() RELEASE() { lock_.Unlock(); }

 private:
  Lockable& lock_;
};
