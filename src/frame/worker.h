// Starting threads, and keeping standard exceptions inside them.
#pragma once

#include <pthread.h>

#include <cstddef>
#include <exception>

#include "frame/host.h"
#include "frame/log.h"

namespace kovo {

constexpr std::size_t kDefaultStack = 0;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(KOVO_SANITIZED)
constexpr std::size_t kSenderStack = std::size_t{1} << 20;  // sanitizers widen every frame
#else
constexpr std::size_t kSenderStack = std::size_t{128} << 10;  // 512 of them fit a 32-bit process
#endif

/// Starts a thread with a stack of so many bytes; kDefaultStack takes the default attributes.
/// Returns 0 or the error number of the creation.
int start_thread(pthread_t& thread, std::size_t stack, void* (*body)(void*), void* argument);

/// Runs one pass of a thread's work. What it throws, out of memory say, is logged and ends that
/// pass alone; the pause keeps a lasting shortage from spinning.
template <class Pass>
void guarded(const char* routine, const Pass& pass) {
  try {
    pass();
  } catch (const std::exception& failure) {
    log_main("[%s:%d] Error: %s\n", routine, __LINE__, failure.what());
    sleep_ms(20);
  }
}

}  // namespace kovo
