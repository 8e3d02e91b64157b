// A mutex for clang's thread-safety analysis: clang warns of a guarded member that is used without
// its lock, and with -Wthread-safety-beta of a wrong order of locks. Other compilers ignore it.
#pragma once

#include <mutex>

#if defined(__clang__)
#define KOVO_ATTRIBUTE(x) __attribute__((x))
#else
#define KOVO_ATTRIBUTE(x)
#endif

#define GUARDED_BY(lock) KOVO_ATTRIBUTE(guarded_by(lock))
#define REQUIRES(...) KOVO_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRED_BEFORE(...) KOVO_ATTRIBUTE(acquired_before(__VA_ARGS__))

namespace kovo {

struct KOVO_ATTRIBUTE(capability("mutex")) Mutex {
  void lock() KOVO_ATTRIBUTE(acquire_capability()) {
    mutex.lock();
  }
  void unlock() KOVO_ATTRIBUTE(release_capability()) {
    mutex.unlock();
  }

  std::mutex mutex;
};

/// Holds a lock for its scope.
struct KOVO_ATTRIBUTE(scoped_lockable) MutexLock {
  explicit MutexLock(Mutex& lock) KOVO_ATTRIBUTE(acquire_capability(lock)) : held(lock) {
    held.lock();
  }
  ~MutexLock() KOVO_ATTRIBUTE(release_capability()) {
    held.unlock();
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  Mutex& held;
};

}  // namespace kovo
