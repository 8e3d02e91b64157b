#include "frame/worker.h"

#include "frame/host.h"
#include "frame/log.h"
#include "frame/output.h"

namespace kovo {

int start_thread(pthread_t& thread, std::size_t stack, void* (*body)(void*), void* argument) {
  if (stack == kDefaultStack) return pthread_create(&thread, nullptr, body, argument);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, stack);
  const int error = pthread_create(&thread, &attributes, body, argument);
  pthread_attr_destroy(&attributes);
  return error;
}

void report_failure(const char* routine, const char* what) noexcept {
  try {
    log_main("[%s:%d] Error: %s\n", routine, __LINE__, what);
  } catch (const std::exception&) {
    print_text(what);
    print_text("\n");
  }
  sleep_ms(20);
}

}  // namespace kovo
