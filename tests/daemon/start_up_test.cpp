#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/daemon/device_test.h"

namespace kovo::device {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

struct StartUp : DeviceTest {
  /// Runs the daemon to its end and gives what it printed.
  std::string output_of(const std::vector<std::string>& args, int status = 0) {
    DaemonOptions options;
    options.args = args;
    daemon = start_daemon(options);
    EXPECT_EQ(wait_exit(daemon), status) << args[0];
    return read_file("/tmp/daemon.out");
  }
};

TEST_F(StartUp, WaitsForNetworkAndStatusAndLogsEachStepInItsOrder) {
  daemon = start_daemon();
  ASSERT_TRUE(wait_log(kMainLog, "wait network...1\n"));
  EXPECT_FALSE(file_exists("/var/tmp/log/kovo_power_on"));
  give_address("eth0", "10.0.0.2/24");
  ASSERT_TRUE(wait_log(kMainLog, "wait getStatus...1\n"));
  EXPECT_FALSE(file_exists("/var/tmp/plinth_sync_ok"));
  ASSERT_TRUE(start_status_service(service, StatusMode::kAnswerAndClose, default_status_answer()));
  ASSERT_TRUE(wait_for([] { return file_exists("/var/tmp/plinth_sync_ok"); }));
  EXPECT_EQ(last_request(service), "getStatus\r");

  std::string log = main_log();
  log = std::regex_replace(log, std::regex("(\\[main\\] wait \\w+\\.\\.\\.\\d\n)+"), "(waits)\n");
  // The servers bind on threads of their own, in no certain order.
  for (const char* bind : {"[handle_tcp_event] bind 127.0.0.1 tcp:2700\n",
                           "[handle_udp_lm_var] bind 127.0.0.1 udp:2727\n",
                           "[handle_tcp_lm_var] bind 127.0.0.1 tcp:2727\n",
                           "[handle_udp_vep_api] bind 127.0.0.1 udp:2728\n"}) {
    const std::size_t at = log.find(bind);
    ASSERT_NE(at, std::string::npos) << bind;
    log.erase(at, std::string(bind).size());
  }
  const std::string pid = read_file("/var/run/kovotcp.pid");
  EXPECT_EQ(std::regex_replace(log, std::regex("Build: .* \\+"), "Build: +"),
            "kovotcp V1.5.4-0.CORE+ Build: +08:00\n"
            "[main] create /var/run/kovotcp.pid=" +
                pid +
                "[renew_kovo_txt] Error: not found: /www/pelm/kovo.txt, writ default\n"
                "[renew_kovo_txt] renew /www/pelm/kovo.txt\n"
                "[rebuild_kovo_event_list] rebuild kovo event txt: OK\n"
                "(waits)\n");
  EXPECT_EQ(event_log(),
            "kovotcp start\nnetwork is ok\ncreated /var/tmp/log/kovo_power_on\n"
            "auto push event: PowerOn\n");
  struct stat marker {};
  ASSERT_EQ(stat("/var/tmp/log/kovo_power_on", &marker), 0);
  EXPECT_EQ(marker.st_mode & 0777, 0444U);
  EXPECT_TRUE(file_exists("/www/pelm/config"));
  EXPECT_EQ(read_file(kDefinitions),
            "EnableEvents=true\nFastCableDetectEvents=false\nPowerOnCount=0\nPowerOnDelay=1\n"
            "DVIConnectedCount=0\nDVIConnectedDelay=0\nDVIDisconnectedCount=0\n"
            "DVIDisconnectedDelay=0\nGenericEventsCount=0\nDataEncode=HEX\n");
  EXPECT_EQ(read_file("/mnt/persistent/kovo.txt"), read_file(kDefinitions));
  EXPECT_NE(read_file("/device/ipc_calls").find("@lm_query q q_param_get::ENABLE_KOVO_EVENT\n"),
            std::string::npos);
}

TEST_F(StartUp, PowerOnIsRaisedOncePerBoot) {
  ASSERT_TRUE(start_udp_sink(udp, "127.0.0.1", 0));
  write_file(kDefinitions, "PowerOnCount=1\n" + step("PowerOn", 0, "UDP", udp.port, "4F4E"));
  start();
  ASSERT_TRUE(wait_arrivals(udp, 1));
  stop_daemon(daemon);

  start();
  EXPECT_NE(event_log().find("/var/tmp/log/kovo_power_on is exist\n"), std::string::npos);
  EXPECT_EQ(send_tcp(2700, "PowerOn\n"), 0);
  ASSERT_TRUE(wait_log(kEventLog, "skip event: PowerOn\n"));
  EXPECT_EQ(arrivals(udp).size(), 1U);
  stop_daemon(daemon);

  unlink("/var/tmp/log/kovo_power_on");
  start();
  EXPECT_TRUE(wait_arrivals(udp, 2));
}

TEST_F(StartUp, ASecondDaemonEndsAndTheFirstGoesOn) {
  start();
  // Workers of the second one that found their port taken have ended, and nobody joins them.
  setenv("TSAN_OPTIONS", "report_thread_leaks=0", 1);
  DaemonOptions options;
  options.stdout_path = "/tmp/second.out";
  Daemon second = start_daemon(options);
  EXPECT_EQ(wait_exit(second), 1);
  const std::string error = "Error: [handle_tcp_event] bind(): (98)Address already in use\n";
  EXPECT_NE(plain(read_file("/tmp/second.out")).find(error), std::string::npos);
  EXPECT_NE(main_log().find(error), std::string::npos);
  EXPECT_TRUE(alive());
  EXPECT_EQ(send_tcp(2700, "still=there\n"), 0);
  EXPECT_TRUE(wait_log(kEventLog, "push event: still\n"));
}

TEST_F(StartUp, OptionsThatAnswerStartNoDaemon) {
  const std::string usage =
      "kovotcp 1.5.4-0\nUsage: kovotcp\n\t-h | --help:\t\tShow help\n\t-i | --ip:\t\tbinding ip, "
      "default is 127.0.0.1\n\t-v :\t\t\t\tshow version\n\t-p <n> | --port <n>:\tSet port number, "
      "default port=2700\n\t-q | --qa:\t\tDisable all log messages\n\t--qr:\t\t\tDisable the log "
      "messages on run kovoevent\n\t-s | --queue_size:\tmax events in queue, default is 1024\n"
      "\t--client command:  run as kovotcp_client command\n\t--cmd setting-command:  send setting "
      "commandto kovotcp\n";
  EXPECT_EQ(output_of({"-h"}), usage);
  EXPECT_EQ(output_of({"-d", "--help", "-v"}), usage);
  EXPECT_TRUE(
      std::regex_match(output_of({"-p", "9999", "-v"}),
                       std::regex("kovotcp-V1\\.5\\.4-0\\.CoreLx Build: \\w{3} [ \\d]\\d \\d{4} "
                                  "\\d\\d:\\d\\d:\\d\\d \\+08:00\n")));
  EXPECT_EQ(output_of({"--cmd", "sysName=x"}), "");
  EXPECT_EQ(output_of({"--cmd", std::string(5000, 'x'), "--qa", "--qr"}), "");
  EXPECT_EQ(output_of({"--client", "getstatus"}), "");
  EXPECT_FALSE(file_exists(kMainLog));
  EXPECT_EQ(plain(output_of({"--client", "getStatus"})),
            "[tcpclient] Error: connect ip=127.0.0.1, port=50003, error=(111)Connection refused, "
            "data=getStatus\r;\n");
  ASSERT_TRUE(start_status_service(service, StatusMode::kAnswerAndHold, "b: 2\ra: 1\rb: 3\r"));
  EXPECT_EQ(output_of({"--client", "getStatus"}), "a=1\nb=2\n");
  EXPECT_EQ(last_request(service), "getStatus\r");
}

TEST_F(StartUp, EmptyAndIdleOptionsStartTheDaemonAsUsual) {
  DaemonOptions options;
  options.args = {"--client", "", "--cmd", "", "-p", "9999", "-s", "5", "-i", "1.2.3.4", "--bogus"};
  start(options);
  EXPECT_EQ(send_tcp(2700, "x\n"), 0);
  EXPECT_NE(send_tcp(9999, "x\n"), 0);
}

TEST_F(StartUp, StandardDescriptorsAreMadeValid) {
  const std::string real = getenv("KOVOTCP");
  write_file("/tmp/closed", "#!/bin/sh\nexec \"" + real + "\" <&- >&- 2>&-\n");
  chmod("/tmp/closed", 0755);
  setenv("KOVOTCP", "/tmp/closed", 1);
  start();
  setenv("KOVOTCP", real.c_str(), 1);
  char target[100] = {};
  const std::string link = "/proc/" + std::to_string(daemon.pid) + "/fd/1";
  ASSERT_GT(readlink(link.c_str(), target, sizeof target - 1), 0);
  EXPECT_STREQ(target, "/dev/null");
}

TEST_F(StartUp, ATerminalThatNobodyReadsHoldsUpNothing) {
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_EQ(grantpt(terminal) + unlockpt(terminal), 0);
  DaemonOptions options;
  options.stdout_path = ptsname(terminal);
  start(options);
  for (int i = 0; i < 100; ++i) send_udp(2727, "x:" + std::string(1000, 'y'));
  ASSERT_TRUE(wait_log(kMainLog, "Error cmd=x\n", 100));
  stop_daemon(daemon);
  start(options);  // its shell commands print on the full terminal as well
  EXPECT_EQ(send_tcp(2700, "still=there\n"), 0);
  EXPECT_TRUE(wait_log(kEventLog, "push event: still\n"));
}

#if !defined(KOVO_SANITIZED)  // their shadow memory leaves no room for a limit on addresses
TEST_F(StartUp, AWorkerThatCannotBeStartedEndsTheDaemonInItsOwnWords) {
  setenv("MALLOC_ARENA_MAX", "1", 1);
  constexpr unsigned long long kGiB = 1ULL << 30;
  const std::vector<std::string> workers = {
      "handle_tcp_event", "handle_udp_lm_var",  "handle_tcp_lm_var", "handle_lm_event",
      "handle_q_event",   "handle_udp_vep_api", "handle_vep_api"};
  for (std::size_t i = 0; i < workers.size(); ++i) {
    std::remove(kMainLog);
    DaemonOptions options;
    options.stack_bytes = kGiB;
    options.address_space_bytes = i * kGiB + kGiB / 2;
    daemon = start_daemon(options);
    EXPECT_EQ(wait_exit(daemon), 1) << workers[i];
    EXPECT_NE(main_log().find("Error: pthread_create " + workers[i] +
                              "(): Resource temporarily unavailable\n"),
              std::string::npos)
        << main_log();
  }
}
#endif

}  // namespace
}  // namespace kovo::device
