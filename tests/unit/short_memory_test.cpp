// Memory that runs out at each moment of an action in turn: what was there before stays whole.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <regex>

#include "engine/event_execution.h"
#include "engine/event_queue.h"
#include "frame/host.h"
#include "variables/central_state.h"
#include "variables/variable_store.h"

thread_local int allocations_left = -1;  // how many more succeed; -1: all

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
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
#endif

namespace kovo {
namespace {

/// Lets an action fail at its first allocation, then at its second and so on until it comes
/// through, and looks at what each failure left behind.
template <class Action, class Look>
void fail_each_allocation(const Action& action, const Look& look) {
  bool failed = true;
  for (int allocation = 0; failed; ++allocation) {
    allocations_left = allocation;
    try {
      action();
      failed = false;
    } catch (const std::bad_alloc&) {
    }
    allocations_left = -1;
    look();
  }
}

TEST(ShortMemory, AScanKeepsWaitingEventsInOrderEvenWhenItIsBrokenOff) {
  const auto queue = make_event_queue();
  CentralState state;
  const std::int64_t now = queue_time(*queue) + 1;
  const std::int64_t long_ago = now - 61'000'000'000;
  const std::int64_t later = now + 100'000'000'000;
  const auto add = [&](const char* name, std::int64_t queued_at, std::int64_t due_at) {
    const MutexLock held(queue->lock);
    queue->pending.emplace_back();
    EventDefinition& event = queue->pending.back();
    event.name = event.trigger = name;
    event.queued_at = queued_at;
    event.due_at = due_at;
  };
  add("due", now, now);
  add("waiting1", now, later);
  add("waiting2", now, later);
  add("expired", long_ago, later);  // telling that needs memory
  add("waiting3", now, later);
  add("due", now, now);
  sleep_ms(1);
  testing::internal::CaptureStdout();
  std::string left;
  const auto look = [&] {
    left.clear();
    const MutexLock held(queue->lock);
    for (const EventDefinition& event : queue->pending) left += event.name + " ";
    if (left == "waiting1 waiting2 waiting3 ") return;
    EXPECT_EQ(left, "waiting1 waiting2 expired waiting3 due ");
  };
  fail_each_allocation([&] { exec_event(*queue, state); }, look);
  EXPECT_EQ(left, "waiting1 waiting2 waiting3 ");
  const std::regex told(
      "\\[exec_event:\\d+\\] Error cannot send sys event=expired, run event=expired, now=\\d+, "
      "t_exec=" +
      std::to_string(later) + ", sub cmd size=0\n");
  EXPECT_TRUE(std::regex_search(testing::internal::GetCapturedStdout(), told));
}

TEST(ShortMemory, LeavesAllOfASetOrNothing) {
  VariableRegistry registry;
  const std::string name = "A_NAME_LONGER_THAN_A_SHORT_STRING_HOLDS";
  const std::string value(100, 'v');
  const auto look = [&] {
    const MutexLock held(registry.registry_lock);
    ASSERT_EQ(registry.variables.size(), registry.index.size());
    for (const auto& [key, place] : registry.index) {
      ASSERT_LT(place, registry.variables.size());
      EXPECT_EQ(lower_ascii(registry.variables[place].name), key);
    }
  };
  fail_each_allocation([&] { lm_set_init(registry, name + "1", value); }, look);
  fail_each_allocation([&] { lm_set(registry, name + "2", value); }, look);
  fail_each_allocation([&] { lm_set_change(registry, name + "3", value); }, look);
  for (const char* number : {"1", "2", "3"}) EXPECT_EQ(lm_get(registry, name + number), value);
}

}  // namespace
}  // namespace kovo
