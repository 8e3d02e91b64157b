// A plain mutex for clang's thread-safety analysis: using a guarded member without its lock is a
// warning of the clang build, and an error with KOVO_WERROR. The order of locks is checked with
// -Wthread-safety-beta. For other compilers the attributes are empty.
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
