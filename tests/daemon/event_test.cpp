#include <sys/stat.h>
#include <unistd.h>

#include "definitions/definition_file.h"
#include "definitions/event_list.h"
#include "engine/event_queue.h"
#include "engine/event_execution.h"
#include "tests/daemon/device_test.h"
#include "variables/central_state.h"

namespace kovo::device {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;

struct Event : DeviceTest {
  void SetUp() override {
    DeviceTest::SetUp();
    ASSERT_TRUE(start_udp_sink(udp, "127.0.0.1", 0));
    ASSERT_TRUE(start_tcp_sink(tcp, "127.0.0.1", 0, TcpSinkMode::kReply, "OK\r\n"));
  }

  std::string target(int port) {
    return "127.0.0.1:" + std::to_string(port);
  }
};

/// Tests that measure time run while no other test does.
struct Timing : Event {};

TEST_F(Timing, StepsLeaveAtTheirOffsets) {
  write_file(kDefinitions, "ACount=3\n" + step("A", 0, "UDP", udp.port, "30", 0) +
                               step("A", 1, "UDP", udp.port, "31", 100) +
                               step("A", 2, "UDP", udp.port, "32", 250));
  start();
  send_tcp(2700, "A\n");
  ASSERT_TRUE(wait_arrivals(udp, 3));
  const std::vector<Arrival> got = arrivals(udp);
  EXPECT_EQ(got[0].bytes + got[1].bytes + got[2].bytes, "012");
  EXPECT_LE(std::chrono::abs(got[1].at - got[0].at - milliseconds(100)), milliseconds(20));
  EXPECT_LE(std::chrono::abs(got[2].at - got[0].at - milliseconds(350)), milliseconds(20));
}

TEST_F(Event, PayloadsAreFilledAndSentByEachSender) {
  write_file(kDefinitions,
             "ACount=9\nAXMLfield=go\n" + step("A", 0, "TCP", tcp.port, "7B7B6E616D657D7D5C6E") +
                 step("A", 1, "TCPStatus", tcp.port, "", 200) +
                 step("A", 2, "UDPStatus", udp.port, "", 200) +
                 step("A", 3, "UDP", udp.port, "41420043", 200) +
                 step("A", 4, "udp", udp.port, "41") + step("A", 5, "TCP", 1, "4E4F", 200) +
                 step("A", 6, "UDP", udp.port, std::string(2000, '4'), 800) +
                 "AProtocol7=UDP\nAIP7=no address\nAPort7=" + std::to_string(udp.port) +
                 "\nAData7=3030\nADelay7=1000\nAProtocol8=Status\n");
  start();
  send_tcp(2700, "go=1\n");
  ASSERT_TRUE(wait_arrivals(udp, 4));
  ASSERT_TRUE(wait_arrivals(tcp, 2));
  const std::string answer = default_status_answer();
  EXPECT_EQ(arrivals(tcp)[0].bytes, "Lobby\n");
  EXPECT_EQ(arrivals(tcp)[1].bytes, answer);
  EXPECT_EQ(last_request(service), "getStatus") << "asked by socket, without a line end";
  EXPECT_EQ(arrivals(udp)[0].bytes, answer);
  EXPECT_EQ(arrivals(udp)[1].bytes, "AB") << "a payload ends at its zero byte";
  EXPECT_EQ(arrivals(udp)[2].bytes, std::string(1000, 'D'));
  EXPECT_EQ(arrivals(udp)[3].bytes, "00") << "an address that is none is 0.0.0.0";
  ASSERT_TRUE(wait_log(kMainLog,
                       "[tcpclient] Error: connect ip=127.0.0.1, port=1, "
                       "error=(111)Connection refused, data=NO;\n"));
  EXPECT_NE(event_log().find("get tcp:2700 event: key=go,value=1\npush event: go\n" +
                             target(tcp.port) + " TCP Lobby\n\n" + target(tcp.port) +
                             " TCPStatus \n" + target(udp.port) + " UDPStatus \n" +
                             target(udp.port) + " UDP AB\n" + target(udp.port) + " udp A\n"),
            std::string::npos)
      << event_log();

  stop_status_service(service);
  send_tcp(2700, "go\n");
  ASSERT_TRUE(wait_arrivals(udp, 5));
  EXPECT_EQ(arrivals(udp)[4].bytes, "(111)Connection refused");
  ASSERT_TRUE(wait_arrivals(tcp, 4));
  EXPECT_EQ(arrivals(tcp)[2].bytes, "Lobby\n") << "the last good status stays";
}

TEST_F(Event, LongPayloadsAreCutTo1023Bytes) {
  write_file(kDefinitions, "ACount=1\n" + step("A", 0, "UDP", udp.port, "7B7B6C6F6E677D7D"));
  start();
  set_status(service, StatusMode::kAnswerAndClose,
             default_status_answer() + "long:" + std::string(1500, 'x') + "\r");
  send_tcp(2700, "A\n");
  ASSERT_TRUE(wait_arrivals(udp, 1));
  EXPECT_EQ(arrivals(udp)[0].bytes, std::string(1023, 'x'));
}

TEST_F(Event, DisabledAndTestEventsAreTold) {
  write_file(kDefinitions, "ACount=1\nADelay=2\n" + step("A", 0, "UDP", udp.port, "41"));
  write_file(kTestDefinitions, "ACount=1\nADelay=30\n" + step("A", 0, "UDP", udp.port, "54"));
  start();
  send_tcp(2700, "A\n");
  ASSERT_TRUE(wait_log(kEventLog, "push event: A\n"));
  send_tcp(2700, "__set__:NETWORK.kovo.enable=0\n");
  send_tcp(2700, "A=dropped\n");
  ASSERT_TRUE(wait_log(kMainLog, "[handle_q_event] KOVO disable, skip A\n"));
  ASSERT_TRUE(wait_log(kEventLog, target(udp.port) + " UDP A, disabled uptime=10"));
  send_tcp(2700, "__TEST__:A=ignored\n");
  ASSERT_TRUE(wait_arrivals(udp, 1));
  EXPECT_EQ(arrivals(udp)[0].bytes, "T") << "at once, in spite of its delay and the switch";
  send_tcp(2700, "__SET__:network.kovo.enable=Yes\n");
  send_tcp(2700, "A\n");
  const auto pushed = Clock::now();
  ASSERT_TRUE(wait_arrivals(udp, 2));
  const auto delay = duration_cast<milliseconds>(arrivals(udp)[1].at - pushed).count();
  EXPECT_GE(delay, 1990);
  EXPECT_LE(delay, 4000);
  EXPECT_EQ(count_of(event_log(), "\npush event: "), 3);
}

TEST_F(Event, DisplayEventsAreSkippedDuringThePowerOnPeriod) {
  write_file(kDefinitions, "DVIConnectedCount=1\nDVIConnectedDelay=0\n" +
                               step("DVIConnected", 0, "UDP", udp.port, "41"));
  write_file(kTestDefinitions, read_file(kDefinitions));
  DaemonOptions options;
  options.uptime_s = 110;
  start(options);
  send_tcp(2700, "DVIConnected\n");
  ASSERT_TRUE(wait_log(kMainLog, "[exec_event] during Power On, skip DVIConnected ...11"));
  EXPECT_NE(main_log().find("/120\n"), std::string::npos);
  EXPECT_NE(event_log().find("skip uptime=11"), std::string::npos);
  EXPECT_NE(event_log().find("," + target(udp.port) + " UDP A\n"), std::string::npos);
  send_tcp(2700, "__TEST__:DVIConnected\n");
  ASSERT_TRUE(wait_arrivals(udp, 1));
  sleep(11);
  send_tcp(2700, "DVIConnected\n");
  EXPECT_TRUE(wait_arrivals(udp, 2)) << "the period ends at 120 s";
}

TEST_F(Event, TheStatusServiceMayFailInAnyWay) {
  write_file(kDefinitions, "ACount=1\n" + step("A", 0, "UDP", udp.port, "3C7B7B6E616D657D7D3E"));
  start();
  const std::string six = "a:1\rb:2\rname:Six:x\rnocolon\rc:3\rd:4\re:5\r";
  const struct {
    StatusMode mode;
    std::string answer;
    std::string sent;
    std::string file;
  } cases[] = {
      {StatusMode::kAnswerAndHold, six, "<Six:x>", "a=1\nb=2\nname=Six:x\nc=3\nd=4\ne=5\n"},
      {StatusMode::kAnswerAndClose, "a:1\rb:2\rname:Five\rc:3\rd:4", "<Six:x>", "name=Six:x\n"},
      {StatusMode::kSilent, "", "<Six:x>", "name=Six:x\n"},
      {StatusMode::kCloseAtOnce, "", "<Six:x>", "name=Six:x\n"},
      {StatusMode::kEndless, "name:Endless\r", "<Endless>", "name=Endless\n"},
      {StatusMode::kAnswerAndClose, std::string("\0\xFF:\r\0name:x\rno", 14), "<Endless>", ""},
  };
  std::size_t sent = 0;
  for (const auto& c : cases) {
    set_status(service, c.mode, c.answer);
    const auto pushed = Clock::now();
    send_tcp(2700, "A\n");
    ASSERT_TRUE(wait_arrivals(udp, ++sent)) << c.sent;
    EXPECT_EQ(arrivals(udp).back().bytes, c.sent);
    EXPECT_NE(read_file("/tmp/kovo_var.txt").find(c.file), std::string::npos) << c.file;
    EXPECT_LT(duration_cast<milliseconds>(Clock::now() - pushed).count(), 4000);
  }
  EXPECT_LT(usage_of(daemon).pss_kib, 200'000) << "an endless answer is not kept whole";
}

TEST_F(Event, ABurstFillsExactly512SlotsAndFreesThem) {
  TcpSink silent;
  ASSERT_TRUE(start_tcp_sink(silent, "127.0.0.1", 0, TcpSinkMode::kSilent));
  std::string definitions = "BigCount=128\nBigXMLfield=big\nOneCount=1\n";
  for (int i = 0; i < 128; ++i) definitions += step("Big", i, "TCP", silent.port, "42");
  write_file(kDefinitions, definitions + step("One", 0, "UDP", udp.port, "31"));
  start();
  const Usage before = settled_usage();
  send_tcp(2700, "big\nbig\nbig\nbig\nbig\n");
  ASSERT_TRUE(wait_log(kEventLog, " TCP B\n", 640));
  ASSERT_TRUE(wait_for([&] { return connection_count(silent) == 512; }));
  ASSERT_TRUE(wait_for([&] { return usage_of(daemon).threads == before.threads; }));
  EXPECT_EQ(connection_count(silent), 512) << "the rest is dropped, not sent later";
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
  const Usage before = settled_usage();
  std::string names;
  for (int i = 0; i < 100; ++i) names += "A\n";
  for (int round = 1; round <= 10; ++round) {
    send_tcp(2700, names);
    ASSERT_TRUE(wait_arrivals(udp, static_cast<std::size_t>(round * 100), seconds(60)));
  }
  ASSERT_TRUE(wait_for([&] { return usage_of(daemon).threads == before.threads; }));
  const Usage after = usage_of(daemon);
  EXPECT_EQ(after.descriptors, before.descriptors);
  EXPECT_EQ(after.children, 0);
#if !defined(KOVO_SANITIZED)  // they keep freed memory
  EXPECT_LT(after.pss_kib, before.pss_kib + 1024);
#endif
}

#if !defined(KOVO_SANITIZED)  // their shadow memory leaves no room for limits
TEST_F(Event, SendersThatCannotStartGiveTheirSlotsBack) {
  setenv("MALLOC_ARENA_MAX", "1", 1);
  TcpSink silent;
  ASSERT_TRUE(start_tcp_sink(silent, "127.0.0.1", 0, TcpSinkMode::kSilent));
  std::string definitions = "BigCount=128\nOneCount=1\n";
  for (int i = 0; i < 128; ++i) definitions += step("Big", i, "TCP", silent.port, "42");
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
  EXPECT_GT(connection_count(silent), 0);
  send_tcp(2700, "One\nOne\n");
  EXPECT_TRUE(wait_arrivals(udp, 1));
}

TEST_F(Timing, AnIdleDaemonIsSmallAndQuiet) {
  start();
  const Usage before = settled_usage();
  EXPECT_LT(before.pss_kib, 4096);
  sleep(6);
  EXPECT_LE(usage_of(daemon).cpu_ms - before.cpu_ms, 30) << "0.5 % of one core";
}
#endif

// What needs a queue but no process.
struct Queue : ::testing::Test {
  void SetUp() override {
    queue = make_event_queue();
    queue->created_at -= 100'000'000'000;
    parse("ACount=1\nADelay=5\nBCount=1\n", state.definition_entries);
    parse("ACount=1\nADelay=5\n", state.test_definition_entries);
    rebuild_kovo_event_list(state, 0);
    rebuild_kovo_event_list(state, 1);
  }

  static void parse(std::string_view lines, DefinitionEntries& entries) {
    for (const std::string_view line : split_lines(lines)) parse_definition_line(entries, line);
  }

  std::string names() {
    const MutexLock held(queue->lock);
    std::string text;
    for (const EventDefinition& event : queue->pending) text += event.name;
    return text;
  }

  EventDefinition front() {
    const MutexLock held(queue->lock);
    return queue->pending.front();
  }

  CentralState state;
  std::unique_ptr<EventQueue> queue;
};

TEST_F(Queue, TakesNamesAtEitherEnd) {
  push_event_back(*queue, state, "A\nnone\nB\n", 0);
  EXPECT_EQ(names(), "AB");
  push_event_front(*queue, state, "A\nB\n", 0);
  EXPECT_EQ(names(), "BAAB");
  EXPECT_EQ(front().due_at, front().queued_at);
  push_event_front(*queue, state, "A", 0);
  EXPECT_EQ(front().due_at, front().queued_at + 5'000'000'000);
  push_event_front(*queue, state, "A", 1);
  EXPECT_EQ(front().due_at, front().queued_at);
  push_event_back(*queue, state, "", 0);
  push_event_back(*queue, state, "B", 1);
  EXPECT_EQ(names(), "AABAAB") << "B is not among the test events";
  EXPECT_EQ(event_log(), "push event: A\nnone\nB\npush event: \npush event: B, test=1\n");
}

TEST_F(Queue, ScansPassWaitingEventsAndDropStaleOnes) {
  push_event_back(*queue, state, "A\nB\nA", 0);
  {
    const MutexLock held(queue->lock);
    queue->pending[2].queued_at = 1;
    queue->pending[2].due_at = 5'000'000'001;
  }
  EXPECT_EQ(exec_event(*queue, state), 1);
  EXPECT_EQ(names(), "A");
  EXPECT_TRUE(std::regex_search(
      main_log(), std::regex("\\[exec_event\\] Error cannot send sys event=A, run event=A, "
                             "now=100\\d{9}, t_exec=5000000001, sub cmd size=1\n")));
}

TEST_F(Queue, PowerOnRunsOnceInAnyLetterCase) {
  EventDefinition event;
  event.name = "Mine";
  event.queued_at = 1'000'000'000 + queue_time(*queue) - 2'000'000'000;
  event.due_at = event.queued_at;
  for (const char* trigger : {"poweron", "POWERON"}) {
    event.trigger = trigger;
    const MutexLock held(queue->lock);
    queue->pending.push_back(event);
  }
  EXPECT_EQ(exec_event(*queue, state), 1);
  EXPECT_EQ(count_of(event_log(), "skip event: PowerOn\n"), 1);
  EXPECT_EQ(names(), "");
}

}  // namespace
}  // namespace kovo::device
