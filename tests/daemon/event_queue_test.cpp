#include "daemon/state/event_queue.h"

#include <gtest/gtest.h>

#include <regex>

#include "daemon/state/central_state.h"
#include "daemon/state/definition_file.h"
#include "daemon/workers/queue_worker.h"

namespace kovo {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

TEST(EventQueue, PowerOnIsQueuedBeforeTheOthers) {
  const auto queue = make_event_queue();
  CentralState state;
  state.definition_entries = parse_definitions("ACount=1\nPowerOnCount=1");
  rebuild_kovo_event_list(state, false);
  push_event_back(*queue, state, "A\n", false);
  push_event_front(*queue, state, "PowerOn", false);
  const MutexLock held(queue->lock);
  EXPECT_EQ(queue->pending.entries.front().item.name, "PowerOn");
}

TEST(EventQueue, WaitingEventsKeepTheirOrder) {
  const auto queue = make_event_queue();
  CentralState state;
  queue->created_at -= 100 * kSecond;
  {
    const MutexLock held(queue->lock);
    for (const char* name : {"due", "waiting1", "old", "due", "waiting2", "old", "waiting3"}) {
      EventDefinition event;
      event.name = name;
      event.queued_at = (*name == 'o' ? 1 : 99) * kSecond;
      event.due_at = (*name == 'd' ? 99 : 200) * kSecond;
      queue->pending.push(event);
    }
  }
  testing::internal::CaptureStdout();
  exec_event(*queue, state);
  const std::regex expired(R"(\[exec_event:\d+\] Error cannot send sys event=, run event=old, )"
                           R"(now=1000\d{8}, t_exec=200000000000, sub cmd size=0\n)");
  EXPECT_TRUE(std::regex_search(testing::internal::GetCapturedStdout(), expired));
  const MutexLock held(queue->lock);
  std::string left;
  for (const auto& entry : queue->pending.entries) left += entry.item.name + " ";
  EXPECT_EQ(left, "waiting1 waiting2 waiting3 ");
}

}  // namespace
}  // namespace kovo
