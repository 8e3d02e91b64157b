#include "daemon/system/worker.h"

#include <algorithm>
#include <climits>

#include "daemon/system/host.h"
#include "daemon/system/log.h"

namespace kovo {

int start_thread(const char* name, pthread_t& thread, std::size_t stack, void* (*body)(void*),
                 void* argument) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  int error = 0;
  if (stack != kDefaultStack) {
    const auto minimum = static_cast<std::size_t>(PTHREAD_STACK_MIN);
    error = pthread_attr_setstacksize(&attributes, std::max(stack, minimum));
  }
  if (error == 0) error = pthread_create(&thread, &attributes, body, argument);
  pthread_attr_destroy(&attributes);
  if (error == 0) pthread_setname_np(thread, name);
  return error;
}

void report_failure(const char* routine, const char* what) noexcept {
  LOG_MAIN(routine, "Error: %s\n", what);
  sleep_ms(kFailurePauseMs);
}

}  // namespace kovo
