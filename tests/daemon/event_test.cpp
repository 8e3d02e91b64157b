#include <unistd.h>

#include "definitions/definition_file.h"
#include "definitions/event_list.h"
#include "engine/event_queue.h"
#include "frame/globals.h"
#include "tests/daemon/device_test.h"
#include "variables/central_state.h"

namespace kovo::device {
namespace {

using std::chrono::seconds;

struct Event : DeviceTest {
  void SetUp() override {
    DeviceTest::SetUp();
    ASSERT_TRUE(start_udp_sink(udp, "127.0.0.1", 0));
    ASSERT_TRUE(start_tcp_sink(tcp, "127.0.0.1", 0, TcpSinkMode::kSilent));
  }
};

/// Tests that measure time run while no other test does.
struct Timing : Event {};

TEST_F(Event, ABurstFillsExactly512SlotsAndFreesThem) {
  std::string definitions = "BigCount=128\nBigXMLfield=big\nOneCount=1\n";
  for (int i = 0; i < 128; ++i) definitions += step("Big", i, "TCP", tcp.port, "42");
  write_file(kDefinitions, definitions + step("One", 0, "UDP", udp.port, "31"));
  start();
  const Usage before = settled_usage();
  send_tcp(2700, "big\nbig\nbig\nbig\nbig\n");
  ASSERT_TRUE(wait_log(kEventLog, " TCP B\n", 640));
  ASSERT_TRUE(wait_for([&] { return connection_count(tcp) == 512; }));
  ASSERT_TRUE(wait_for([&] { return usage_of(daemon).threads == before.threads; }));
  EXPECT_EQ(connection_count(tcp), 512) << "the rest is dropped, not sent later";
  // The first search finds no free slot, only finished ones, and frees them for the second.
  send_tcp(2700, "One\nOne\n");
  ASSERT_TRUE(wait_arrivals(udp, 1));
  usleep(300'000);
  EXPECT_EQ(arrivals(udp).size(), 1U);
  EXPECT_EQ(usage_of(daemon).descriptors, before.descriptors);
}

TEST_F(Event, NothingIsLeftOverAfterAThousandEvents) {
  write_file(kDefinitions, "ACount=1\n" + step("A", 0, "UDP", udp.port, "41"));
  start();
  set_status(service, StatusMode::kAnswerAndClose, default_status_answer());
  const Usage idle = settled_usage();
  [[maybe_unused]] long memory = 0;  // once the slots and stacks of so many senders have been used
  std::string names;
  for (int i = 0; i < 100; ++i) names += "A\n";
  for (int round = 1; round <= 10; ++round) {
    send_tcp(2700, names);
    ASSERT_TRUE(wait_arrivals(udp, static_cast<std::size_t>(round * 100), seconds(60)));
    ASSERT_TRUE(wait_for([&] { return usage_of(daemon).threads == idle.threads; }));
    if (round == 1) memory = own_memory_kib();
  }
  const Usage after = usage_of(daemon);
  EXPECT_EQ(after.descriptors, idle.descriptors);
  EXPECT_EQ(after.children, 0);
#if !defined(KOVO_SANITIZED)  // they keep freed memory
  EXPECT_LT(own_memory_kib(), memory + 512);
#endif
}

#if !defined(KOVO_SANITIZED)  // their shadow memory leaves no room for limits
TEST_F(Event, SendersThatCannotStartGiveTheirSlotsBack) {
  setenv("MALLOC_ARENA_MAX", "1", 1);
  std::string definitions = "BigCount=128\nOneCount=1\n";
  for (int i = 0; i < 128; ++i) definitions += step("Big", i, "TCP", tcp.port, "42");
  write_file(kDefinitions, definitions + step("One", 0, "UDP", udp.port, "31"));
  DaemonOptions options;
  options.address_space_bytes = 84ULL << 20;  // seven workers, and some hundred senders
  start(options);
  const Usage before = settled_usage();
  for (int round = 1; round <= 2; ++round) {
    send_tcp(2700, "Big\nBig\nBig\n");
    ASSERT_TRUE(wait_log(kEventLog, " TCP B\n", 384 * round));
    ASSERT_TRUE(wait_for([&] { return usage_of(daemon).threads == before.threads; }));
  }
  EXPECT_GT(count_of(main_log(),
                     "[exec_event] Error: start sender for Big: Resource temporarily "
                     "unavailable\n"),
            0);
  EXPECT_GT(connection_count(tcp), 100);
  send_tcp(2700, "One\nOne\n");
  EXPECT_TRUE(wait_arrivals(udp, 1));
}

TEST_F(Timing, AnIdleDaemonIsSmallAndQuietAgainAfterALargeFile) {
  std::string definitions;
  for (int i = 0; i < 40'000; ++i) {
    definitions += std::to_string(i) + "Count=1\n" + std::to_string(i) + "IP0=\n";
  }
  write_file(kDefinitions, definitions);
  start();
  EXPECT_GT(own_memory_kib(), 4096);
  write_file(kDefinitions, "BCount=1\n");
  ASSERT_TRUE(wait_for([] { return read_file("/tmp/kovo_event_list.txt")[0] == 'B'; }));
  const Usage before = settled_usage();
  EXPECT_LT(before.pss_kib, 4096);
  sleep(6);
  EXPECT_LE(usage_of(daemon).cpu_ms - before.cpu_ms, 30) << "0.5 % of one core";
}
#endif

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
  for (const EventDefinition& event : queue->pending) {
    pending += event.name + std::to_string((event.due_at - event.queued_at) / 1'000'000'000) + " ";
  }
  EXPECT_EQ(pending, "A0 B0 A5 A5 B0 ") << "a test event has no delay, and B is none";
  EXPECT_EQ(event_log(), "push event: A\nnone\nB\npush event: B, test=1\n");
}

}  // namespace
}  // namespace kovo::device
