#include <sys/stat.h>
#include <unistd.h>

#include "tests/daemon/device_test.h"

namespace kovo::device {
namespace {

using std::chrono::milliseconds;

struct DefinitionFile : DeviceTest {
  static bool reloaded(int times, milliseconds limit = std::chrono::seconds(5)) {
    return wait_log(kMainLog, "rebuild kovo event txt: OK\n", times, limit);
  }
};

/// Measures time, so it runs while no other test does.
struct TimingOfFile : DefinitionFile {};

TEST_F(TimingOfFile, AnEditTakesEffectWithinHalfASecond) {
  ASSERT_TRUE(start_udp_sink(udp, "127.0.0.1", 0));
  start();
  usleep(700'000);  // the first pass only remembers the file, and the marker of a sibling is new
  write_file(kDefinitions,
             "DoorCount=1\nDoorXMLfield=doorState\n" + step("Door", 0, "UDP", udp.port, "4F4B"));
  ASSERT_TRUE(reloaded(2, milliseconds(500)));
  EXPECT_EQ(read_file("/tmp/kovo_event_list.txt"), "Door;doorState;0:OK:0;Delay=0;\n");
  send_tcp(2700, "Door\n");
  send_tcp(2700, "doorState\n");
  ASSERT_TRUE(wait_arrivals(udp, 1));
  EXPECT_EQ(arrivals(udp)[0].bytes, "OK");
  EXPECT_EQ(count_of(event_log(), "127.0.0.1:" + std::to_string(udp.port) + " UDP OK\n"), 1);

  unlink(kDefinitions);
  usleep(600'000);
  EXPECT_EQ(count_of(main_log(), "event txt: OK"), 2) << "a missing file changes nothing";
  write_file(kDefinitions, "");
  ASSERT_TRUE(reloaded(3));
  EXPECT_EQ(read_file("/tmp/kovo_event_list.txt"), "");
}

TEST_F(DefinitionFile, AFileThatAppearsAfterTheFirstPassIsRead) {
  start();
  stop_daemon(daemon);
  unlink(kDefinitions);
  mkdir(kDefinitions, 0755);  // neither readable nor to be written in place
  std::remove(kMainLog);
  start();
  EXPECT_NE(
      main_log().find("[renew_kovo_txt] Error: cannot open /www/pelm/kovo.txt;Is a directory\n"),
      std::string::npos);
  rmdir(kDefinitions);
  ASSERT_EQ(symlink("/dev/zero", kDefinitions), 0);
  ASSERT_TRUE(wait_log(kMainLog, "cannot open /www/pelm/kovo.txt;Invalid argument\n"));
  unlink(kDefinitions);
  unlink("/tmp/kovo_asc.txt");
  ASSERT_EQ(symlink(kTestDefinitions, "/tmp/kovo_asc.txt"), 0);
  write_file(kDefinitions, "ACount=1\n");
  ASSERT_TRUE(
      wait_for([] { return read_file("/tmp/kovo_event_list.txt") == "A;A;0::0;Delay=0;\n"; }));
  EXPECT_FALSE(file_exists(kTestDefinitions)) << "a link in a folder of everybody is not followed";
}

TEST_F(DefinitionFile, CopiesAndListsAreByteExact) {
  const std::string long_value(3000, 'y');
  write_file(kDefinitions,
             "PowerOnCount=2\r\nPowerOnData0=410042\nPowerOnData1=43\r\nno equals\nlong=" +
                 long_value + "\ncut=" + std::string(2043, '4') + "Data1=44\nlast=end");
  start();
  const std::string lines = "long=" + long_value.substr(0, 2042) +
                            "\ncut=" + std::string(2043, '4') + "\nData1=44\nlast=end\n";
  const std::string raw = "PowerOnCount=2\r\nPowerOnData0=410042\nPowerOnData1=43\r\n" + lines;
  EXPECT_EQ(read_file("/tmp/kovo_hex.txt"), raw);
  EXPECT_EQ(read_file("/mnt/persistent/kovo.txt"), raw);
  EXPECT_EQ(read_file("/tmp/kovo_asc.txt"),
            std::string("PowerOnCount=2\r\nPowerOnData0=A\0B\nPowerOnData1=C\0\n", 49) + lines);
  EXPECT_EQ(read_file("/tmp/kovo_event_list.txt"),
            std::string("PowerOn;PowerOn;0:A\0B:0;1:C\0:0;Delay=0;\n", 40));

  write_file(kTestDefinitions, "TCount=1\nTData0=4142\nTDelay=9\n");
  send_tcp(2700, "__TEST__:T");
  ASSERT_TRUE(wait_log(kEventLog, "push event: T, test=1\n"));
  EXPECT_NE(
      main_log().find("rebuild test kovo event txt: OK\n[handle_tcp_command] push TEST event T"),
      std::string::npos);
  EXPECT_EQ(read_file("/tmp/kovo_test_hex.txt"), "TCount=1\nTData0=4142\nTDelay=9\n");
  EXPECT_EQ(read_file("/tmp/kovo_test_asc.txt"), "TCount=1\nTData0=AB\nTDelay=9\n");
  EXPECT_EQ(read_file("/tmp/kovo_event_list_test.txt"), "T;T;0:AB:0;Delay=9;\n");
}

}  // namespace
}  // namespace kovo::device
