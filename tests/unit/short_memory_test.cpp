// Memory that runs out at each moment of an action in turn: what was there before stays whole.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <regex>

#include "definitions/event_compiler.h"
#include "engine/event_queue.h"
#include "engine/queue_worker.h"
#include "frame/host.h"
#include "variables/central_state.h"
#include "variables/variable_store.h"

thread_local int allocations_left = -1;  // how many more succeed; -1: all
thread_local std::size_t bytes_now = 0;  // allocated
thread_local std::size_t bytes_most = 0;

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
  bytes_now += malloc_usable_size(memory) + sizeof(std::size_t);
  bytes_most = std::max(bytes_most, bytes_now);
  return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
  if (memory != nullptr) bytes_now -= malloc_usable_size(memory) + sizeof(std::size_t);
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
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

TEST(ShortMemory, AScanKeepsWaitingEventsInOrder) {
  const auto queue = make_event_queue();
  CentralState state;
  const std::int64_t now = queue_time(*queue) + 1;
  const std::int64_t later = now + 100'000'000'000;
  const auto add = [&](const char* name, std::int64_t queued_at, std::int64_t due_at) {
    const MutexLock held(queue->lock);
    EventDefinition event;
    event.name = event.trigger = name;
    event.queued_at = queued_at;
    event.due_at = due_at;
    queue->pending.push(event);
  };
  for (const char* waiting : {"waiting1 ", "waiting2 "}) {
    add("due", now, now);
    add(waiting, now, later);
    add("expired", now - 61'000'000'000, later);
  }
  add("waiting3 ", now, later);
  sleep_ms(1);
  testing::internal::CaptureStdout();
  exec_event(*queue, state);
  const std::regex expired(R"(\[exec_event:\d+\] Error cannot send sys event=expired, )"
                           R"(run event=expired, now=\d+, t_exec=)" +
                           std::to_string(later) + ", sub cmd size=0\n");
  EXPECT_TRUE(std::regex_search(testing::internal::GetCapturedStdout(), expired));
  const MutexLock held(queue->lock);
  std::string left;
  std::size_t bytes = 0;
  for (const auto& entry : queue->pending.entries) {
    left += entry.item.name;
    bytes += entry.bytes;
  }
  EXPECT_EQ(queue->pending.bytes, bytes);
  EXPECT_EQ(left, "waiting1 waiting2 waiting3 ");
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

TEST(ShortMemory, ADefinitionFileTakesLittleWhateverItHoldsWhileTheOldOneIsInUse) {
  for (const char* lines : {"=\n", "#Count=1\n", "#Count=1\n#IP0=\n", "#Count=128\n#IP127=\n"}) {
    std::string file;
    for (int event = 0; file.size() < kMaxDefinitionBytes; ++event) {
      std::string name;  // the shortest texts that differ
      for (int rest = event + 1; rest > 0; rest /= 26) name += static_cast<char>('a' + rest % 26);
      file += std::regex_replace(lines, std::regex("#"), name);
    }
    bytes_now = bytes_most = 0;
    const CompiledEvents old = compile_events(parse_definitions(file));
    compile_events(parse_definitions(file));
    EXPECT_LT(bytes_most, std::size_t{23} << 20) << lines;
  }
}

}  // namespace
}  // namespace kovo
