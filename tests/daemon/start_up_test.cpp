#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/daemon/device_test.h"

namespace kovo::device {
namespace {

struct StartUp : DeviceTest {};

TEST_F(StartUp, StandardDescriptorsAndModesDoNotDependOnItsStarter) {
  const std::string real = getenv("KOVOTCP");
  write_file("/tmp/starter", "#!/bin/sh\numask 077\nexec " + real + " <&- >&- 2>&-\n");
  chmod("/tmp/starter", 0755);
  setenv("KOVOTCP", "/tmp/starter", 1);
  start();
  char target[100] = {};
  const std::string link = "/proc/" + std::to_string(daemon.pid) + "/fd/1";
  ASSERT_GT(readlink(link.c_str(), target, sizeof target - 1), 0);
  EXPECT_STREQ(target, "/dev/null");
  struct stat info {};
  ASSERT_EQ(stat("/tmp/kovo_asc.txt", &info), 0);
  EXPECT_EQ(info.st_mode, S_IFREG | 0644U);
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
