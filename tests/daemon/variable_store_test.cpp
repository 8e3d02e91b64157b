#include "daemon/state/variable_store.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <new>

#include "core/text.h"

thread_local int allocations_left = -1;  // the number that still succeed; -1 for all

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KOVO_ENDLESS_MEMORY  // ThreadSanitizer has its own operators, which nothing replaces
#endif
#endif

#if !defined(KOVO_ENDLESS_MEMORY)
// Not inlined: the compiler would take the free() for a mistake.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (allocations_left == 0) throw std::bad_alloc();
  if (allocations_left > 0) --allocations_left;
  void* memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}
#endif

namespace kovo {
namespace {

TEST(VariableStore, SetIsAtomicOnAllocationFailure) {
  VariableRegistry registry;
  const std::string name = "A_NAME_LONGER_THAN_A_SHORT_STRING_HOLDS";
  const std::string value(100, 'v');
  for (const int kind : {0, 1, 2}) {
    const std::string one = name + std::to_string(kind);
    for (int allocation = 0; lm_get(registry, one) != value; ++allocation) {
      allocations_left = allocation;  // first the first one fails, then the second and so on
      try {
        if (kind == 0) lm_set_init(registry, one, value);
        if (kind == 1) lm_set(registry, one, value);
        if (kind == 2) lm_set_change(registry, one, value);
      } catch (const std::bad_alloc&) {
      }
      allocations_left = -1;
      const MutexLock held(registry.registry_lock);
      ASSERT_EQ(registry.variables.size(), registry.index.size());
      for (const auto& [key, place] : registry.index) {
        ASSERT_LT(place, registry.variables.size());
        EXPECT_EQ(lower_ascii(registry.variables[place].name), key);
      }
    }
  }
}

TEST(VariableStore, LookupsDoNotSlowDownWithTheNumberOfVariables) {
  VariableRegistry registry;
  const MutexLock held(registry.notify_lock);  // as during a send to a dead client
  const std::clock_t begin = std::clock();
  for (int i = 0; i < 50'000; ++i) lm_set_init(registry, "VARIABLE_" + std::to_string(i), "x");
  EXPECT_EQ(lm_get(registry, "variable_49999"), "x");
  EXPECT_LT(std::clock() - begin, 2 * CLOCKS_PER_SEC);
}

}  // namespace
}  // namespace kovo
