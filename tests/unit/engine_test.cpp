#include <gtest/gtest.h>

#include <set>

#include "engine/choose_sender.h"
#include "engine/event_execution.h"
#include "engine/event_fate.h"
#include "engine/event_queue.h"
#include "engine/sender_threads.h"
#include "failing_memory.h"
#include "frame/host.h"
#include "variables/central_state.h"

namespace kovo {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;

EventDefinition queued(std::int64_t queued_s, std::int64_t due_s) {
  EventDefinition event;
  event.queued_at = queued_s * kSecond;
  event.due_at = due_s * kSecond;
  return event;
}

TEST(QueueWorker, EventsWaitRunOrExpire) {
  EventDefinition executed = queued(1, 1);
  executed.status = 1;
  const struct {
    EventDefinition event;
    std::int64_t now;
    EventFate fate;
  } cases[] = {
      {queued(1, 3), 3 * kSecond - 1, EventFate::kWait},
      {queued(1, 3), 3 * kSecond, EventFate::kRun},
      {queued(5, 5), 4 * kSecond, EventFate::kWait},
      {queued(1, 1), 61 * kSecond, EventFate::kRun},
      {queued(1, 1), 61 * kSecond + 1, EventFate::kExpired},
      {queued(1, 62), 61 * kSecond, EventFate::kWait},
      {queued(1, 62), 61 * kSecond + 1, EventFate::kExpired},
      {queued(1, -4), 2 * kSecond, EventFate::kRun},
      {queued(0, 1), 2 * kSecond, EventFate::kErase},
      {queued(1, 0), 2 * kSecond, EventFate::kErase},
      {executed, 2 * kSecond, EventFate::kErase},
      {executed, 62 * kSecond, EventFate::kExpired},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(event_fate(c.event, c.now), c.fate) << c.event.queued_at << " " << c.now;
  }
}

TEST(QueueWorker, AScanKeepsWaitingEventsInOrderEvenWhenItIsBrokenOff) {
  const auto queue = make_event_queue();
  CentralState state;
  const std::int64_t now = queue_time(*queue) + 1;
  const auto add = [&](const char* name, std::int64_t queued_at, std::int64_t due_at) {
    EventDefinition event;
    event.name = name;
    event.queued_at = queued_at;
    event.due_at = due_at;
    const MutexLock held(queue->lock);
    queue->pending.push_back(event);
  };
  const auto names = [&] {
    std::string text;
    const MutexLock held(queue->lock);
    for (const EventDefinition& event : queue->pending) text += event.name + " ";
    return text;
  };
  const std::int64_t later = now + 100 * kSecond;
  add("due", now, now);
  add("waiting1", now, later);
  add("waiting2", now, later);
  add("expired", now - 61 * kSecond, later);  // telling that needs memory
  add("waiting3", now, later);
  add("due", now, now);
  std::string left;
  sleep_ms(1);
  fail_each_allocation([&] { exec_event(*queue, state); },
                       [&] {
                         left = names();
                         if (left == "waiting1 waiting2 waiting3 ") return;
                         EXPECT_EQ(left, "waiting1 waiting2 expired waiting3 due ");
                       });
  EXPECT_EQ(left, "waiting1 waiting2 waiting3 ");
}

TEST(Senders, AreChosenByTheWordsOfTheProtocol) {
  const struct {
    const char* protocol;
    SendKind kind;
  } cases[] = {
      {"UDP", SendKind::kUdp},
      {"TCP", SendKind::kTcp},
      {"UDPStatus", SendKind::kUdpStatus},
      {"StatusTCP", SendKind::kTcpStatus},
      {"UDP/TCP", SendKind::kTcp},
      {"tcp", SendKind::kNone},
      {"Status", SendKind::kNone},
      {"", SendKind::kNone},
      {"TCP\r", SendKind::kTcp},
      {"TCPstatus", SendKind::kTcp},
  };
  for (const auto& c : cases) EXPECT_EQ(choose_sender(c.protocol), c.kind) << c.protocol;
}

TEST(Senders, SlotsAreFoundJoinedAndRefused) {
  const auto queue = make_event_queue();
  std::set<int> taken;
  for (int i = 0; i < kSenderSlots; ++i) taken.insert(get_new_ret_thread(*queue, "e"));
  EXPECT_EQ(taken.size(), 512U);
  EXPECT_EQ(*taken.rbegin(), 511);
  EXPECT_EQ(get_new_ret_thread(*queue, "e"), -1);

  for (const int slot : {3, 7}) {
    pthread_create(
        &queue->sender_threads[slot], nullptr, [](void* p) { return p; }, nullptr);
    queue->sender_state[slot] = kSlotFinished;
  }
  EXPECT_EQ(get_new_ret_thread(*queue, "e"), -1) << "a slot freed by a scan waits for the next one";
  EXPECT_EQ(get_new_ret_thread(*queue, "e"), 3);
  EXPECT_EQ(get_new_ret_thread(*queue, "e"), 7);
}

}  // namespace
}  // namespace kovo
