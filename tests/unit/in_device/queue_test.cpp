#include "engine/event_queue.h"

#include <gtest/gtest.h>

#include "definitions/event_list.h"
#include "frame/globals.h"
#include "tests/unit/in_device/logs.h"
#include "variables/central_state.h"

namespace kovo {
namespace {

TEST(Queue, TakesNamesAtEitherEnd) {
  const auto queue = make_event_queue();
  CentralState state;
  state.definition_entries = parse_definitions("ACount=1\nADelay=5\nBCount=1");
  state.test_definition_entries = parse_definitions("ACount=1\nADelay=5");
  for (const int test : {0, 1}) rebuild_kovo_event_list(state, test);
  push_event_back(*queue, state, "A\nnone\nB\n", 0);
  push_event_front(*queue, state, "A\nB\n", 0);
  push_event_front(*queue, state, "A", 1);
  debug = 1;
  testing::internal::CaptureStdout();
  push_event_front(*queue, state, "none", 0);
  debug = 0;
  EXPECT_EQ(count_of(plain(testing::internal::GetCapturedStdout()),
                     "[push_event_front] not found sys event=none\n"),
            1);
  push_event_back(*queue, state, "B", 1);
  std::string pending;
  const MutexLock held(queue->lock);
  for (const auto& [event, bytes] : queue->pending.entries) {
    pending += event.name + std::to_string((event.due_at - event.queued_at) / 1'000'000'000) + " ";
  }
  EXPECT_EQ(pending, "A0 B0 A5 A5 B0 ") << "a test event has no delay, and B is none";
  EXPECT_EQ(event_log(), "push event: A\nnone\nB\npush event: B, test=1\n");
}

}  // namespace
}  // namespace kovo
