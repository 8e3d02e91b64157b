#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/daemon/device_test.h"

namespace kovo::device {
namespace {

int open_connection(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  usleep(300);  // the backlog is short
  return fd;
}

struct CommandServer : DeviceTest {};

TEST_F(CommandServer, OneReadPerConnectionAndIdleOnesDelayNobody) {
  start();
  std::vector<int> idle;
  for (int i = 0; i < 100; ++i) idle.push_back(open_connection(2700));
  const int split = open_connection(2700);
  ASSERT_EQ(send(split, "first\n", 6, MSG_NOSIGNAL), 6);
  ASSERT_TRUE(wait_log(kEventLog, "push event: first\n"));
  char byte = 0;
  EXPECT_EQ(recv(split, &byte, 1, 0), 0) << "closed after the first read";
  send(split, "second\n", 7, MSG_NOSIGNAL);
  close(split);
  ASSERT_EQ(send(idle[50], "late\n", 5, MSG_NOSIGNAL), 5);
  EXPECT_TRUE(wait_log(kEventLog, "push event: late\n", 1, std::chrono::seconds(2)));
  const Usage usage = usage_of(daemon);
  for (const int fd : idle) close(fd);
  ASSERT_TRUE(wait_for([&] { return usage_of(daemon).descriptors <= usage.descriptors - 99; }));
  EXPECT_EQ(count_of(event_log(), "second"), 0);
  EXPECT_EQ(count_of(main_log(), "recv(tcp:2700)"), 2) << "closing without a byte logs nothing";
}

TEST_F(CommandServer, IdleConnectionsLeaveDescriptorsTo512Senders) {
  ASSERT_TRUE(start_tcp_sink(tcp, "127.0.0.1", 0, TcpSinkMode::kSilent));
  std::string definitions = "ACount=128\n";
  for (int i = 0; i < 128; ++i) definitions += step("A", i, "TCP", tcp.port, "41");
  write_file(kDefinitions, definitions);
  DaemonOptions options;
  options.open_files = 1024;
  start(options);
  std::vector<int> idle;
  for (int i = 0; i < 2 * 300; ++i) idle.push_back(open_connection(i % 2 == 0 ? 2700 : 2727));
  ASSERT_EQ(send(idle.back(), "set::", 5, MSG_NOSIGNAL), 5);
  EXPECT_TRUE(wait_log(kMainLog, "Error cmd=set\n"));
  EXPECT_EQ(send_tcp(2700, "A\nA\nA\nA\n"), 0);
  EXPECT_TRUE(wait_for([&] { return connection_count(tcp) == 512; }));
  for (int i = 0; i < 100; ++i) send_udp(2727, "next:");
  EXPECT_TRUE(wait_log(kMainLog, "Error cmd=next\n", 100));
  EXPECT_TRUE(wait_log(kEventLog, " TCP A\n", 512));
  EXPECT_EQ(count_of(main_log(), "accept()"), 0);
  for (const int fd : idle) close(fd);
}

TEST_F(CommandServer, ExhaustedDescriptorsOnlyDelay) {
  ASSERT_TRUE(start_tcp_sink(tcp, "127.0.0.1", 0, TcpSinkMode::kSilent));
  std::string definitions = "ACount=128\n";
  for (int i = 0; i < 128; ++i) definitions += step("A", i, "TCP", tcp.port, "41");
  write_file(kDefinitions, definitions);
  DaemonOptions options;
  options.open_files = 60;
  start(options);
  const int idle = open_connection(2700);
  send_tcp(2700, "A\n");
  ASSERT_TRUE(wait_for([&] { return usage_of(daemon).descriptors >= 59; }));
  const long cpu = usage_of(daemon).cpu_ms;
  EXPECT_EQ(send_tcp(2700, "next\n"), 0);
  char byte = 0;
  EXPECT_EQ(recv(idle, &byte, 1, 0), 0) << "an idle connection makes room";
  close(idle);
  usleep(500'000);
  EXPECT_LT(usage_of(daemon).cpu_ms - cpu, 200) << "it does not spin";
  EXPECT_TRUE(wait_log(kEventLog, "push event: next\n"));
  EXPECT_TRUE(wait_log(kEventLog, " TCP A\n"));
  write_file(kDefinitions, "BCount=1\n");
  EXPECT_TRUE(wait_for([] { return read_file("/tmp/kovo_event_list.txt")[0] == 'B'; }));
}

}  // namespace
}  // namespace kovo::device
