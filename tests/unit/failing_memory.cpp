#include "failing_memory.h"

#include <cstdlib>

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KOVO_ENDLESS_MEMORY  // ThreadSanitizer has its own operators, which nothing replaces
#endif
#endif

#if !defined(KOVO_ENDLESS_MEMORY)
void* operator new(std::size_t size) {
  if (kovo::allocations_left == 0) throw std::bad_alloc();
  if (kovo::allocations_left > 0) --kovo::allocations_left;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
#endif
