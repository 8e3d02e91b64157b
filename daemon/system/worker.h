// Starts threads, and handles exceptions in their loops: in practice, std::bad_alloc.
#pragma once

#include <pthread.h>

#include <cstddef>
#include <exception>

#include "daemon/system/host.h"

namespace kovo {

constexpr std::int64_t kRetryPauseMs = 1000;
constexpr std::int64_t kFailurePauseMs = 20;
constexpr std::size_t kDefaultStack = 0;
#if defined(KOVO_SANITIZED)
constexpr std::size_t kSmallStack = std::size_t{1} << 20;  // sanitizers widen every frame
#else
constexpr std::size_t kSmallStack = std::size_t{64} << 10;  // a sender uses less than half
#endif

/// Starts a thread with a stack of so many bytes, or of the platform's minimum where that is
/// larger, or the system's with kDefaultStack. The name, of at most 15 characters, is what `ps -T`
/// shows. Returns 0 or an error number.
int start_thread(const char* name, pthread_t& thread, std::size_t stack, void* (*body)(void*),
                 void* argument);

/// Logs what a pass has thrown and pauses, so that a lasting failure does not spin.
void report_failure(const char* routine, const char* what) noexcept;

/// Runs one pass of a thread's loop. An exception is logged, ends only that pass, and costs a pause
/// of 20 ms.
template <class Pass>
void run_pass(const char* routine, const Pass& pass) {
  try {
    pass();
  } catch (const std::exception& failure) {
    report_failure(routine, failure.what());
  }
}

/// Repeats a step once a second while it throws; for steps that start-up needs.
template <class Step>
void retry_until_success(const char* routine, const Step& step) {
  for (bool done = false;; sleep_ms(kRetryPauseMs)) {
    run_pass(routine, [&] {
      step();
      done = true;
    });
    if (done) return;
  }
}

}  // namespace kovo
