#include <random>

#include "tests/daemon/device_test.h"

namespace kovo::device {
namespace {

struct AnyBytes : DeviceTest {
  /// Random bytes with words among them that lead far into the code.
  std::string noise(std::size_t size) {
    static const auto words = split_lines(
        "e_param_set::\nget_udp::A::::9000\nclient_add_udp::\n::\n127.0.0.1::9000\nsysName=\n"
        "S0_BAUDRATE::1-8\n__TEST__:A\n%4\nV_OUTPUT_TIMING_CONVERT::\nlocal:\nACount=1\n=\n"
        "AData0=7B7B\n\\n\nsetSettings:ipset\nAProtocol0=UDP\n%s%n\n\xFF\xFE");
    std::string bytes;
    while (bytes.size() < size) {
      const auto choice = random() % 8;
      if (choice < 4) bytes += words[random() % words.size()];
      bytes += choice < 2 ? '\n' : static_cast<char>(random());
    }
    return bytes;
  }

  std::mt19937 random{7};
};

TEST_F(AnyBytes, OnAnyPortAndInAnyFileLeaveItRunning) {
  write_file("/mnt/persistent/kovo_conf.txt", noise(5000));
  write_file("/var/lm_var", noise(100000));
  write_file(kDefinitions, noise(3000));
  start();
  set_status(service, StatusMode::kAnswerAndClose, noise(5000));
  for (int round = 0; round < 400; ++round) {
    const std::string bytes = noise(random() % (round % 40 == 0 ? 6000U : 80U));
    if (round % 2 == 0) send_tcp(round % 4 == 0 ? 2700 : 2727, bytes);
    if (round % 2 == 1) send_udp(round % 4 == 1 ? 2727 : 2728, bytes);
    if (round % 50 == 0) {
      write_file(kDefinitions, noise(1U << (8 + round / 50)));
      write_file(kTestDefinitions, noise(2000));
    }
  }
  ASSERT_TRUE(start_udp_sink(udp, "127.0.0.1", 0));
  write_file(kDefinitions, "EndCount=1\n" + step("End", 0, "UDP", udp.port, "456E64"));
  const auto end_arrives = [&] {
    send_tcp(2700, "__SET__:network.kovo.enable=1");
    send_tcp(2700, "End\n");
    return wait_arrivals(udp, 1, std::chrono::seconds(1));
  };
  EXPECT_TRUE(wait_for(end_arrives, std::chrono::seconds(60)));
  const std::size_t before = arrivals(udp).size();
  send_udp(2727, "get_udp::END::::" + std::to_string(udp.port));
  EXPECT_TRUE(wait_for([&] { return arrivals(udp).size() > before; }, std::chrono::seconds(60)));
  EXPECT_TRUE(alive());
}

}  // namespace
}  // namespace kovo::device
