// A daemon on a simulated device of its own: each test runs in a process that is alone in one.
#pragma once

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <thread>

#include "device/device.h"
#include "device/sinks.h"
#include "device/status_service.h"
#include "frame/text.h"

namespace kovo::device {

constexpr char kMainLog[] = "/var/tmp/log/kovo.log";
constexpr char kEventLog[] = "/var/tmp/log/kovoevent.log";
constexpr char kDefinitions[] = "/www/pelm/kovo.txt";

/// The text with "[routine:123]" as "[routine]", and without the time stamps of event lines.
inline std::string plain(const std::string& text) {
  const std::string stable = std::regex_replace(text, std::regex("\\[(\\w+)[:;]\\d+\\]"), "[$1]");
  return std::regex_replace(stable,
                            std::regex("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}  "), "");
}

inline std::string main_log() {
  return plain(read_file(kMainLog));
}

inline std::string event_log() {
  return plain(read_file(kEventLog));
}

inline int count_of(const std::string& text, const std::string& part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

inline bool wait_log(const char* path, const std::string& part, int times = 1,
                     std::chrono::milliseconds limit = std::chrono::seconds(10)) {
  return wait_for([&] { return count_of(plain(read_file(path)), part) >= times; }, limit);
}

/// Lines of a definition file for one step, as in step("Door", 0, "UDP", 6000, "4F4B", 100).
inline std::string step(const std::string& event, int index, const std::string& protocol, int port,
                        const std::string& hex, int delay_ms = -1) {
  const std::string i = std::to_string(index);
  std::string lines = event + "Protocol" + i + "=" + protocol + "\n" + event + "IP" + i +
                      "=127.0.0.1\n" + event + "Port" + i + "=" + std::to_string(port) + "\n" +
                      event + "Data" + i + "=" + hex + "\n";
  if (delay_ms >= 0) lines += event + "Delay" + i + "=" + std::to_string(delay_ms) + "\n";
  return lines;
}

struct DeviceTest : ::testing::Test {
  void SetUp() override {
    set_param("ENABLE_KOVO_EVENT", "1");
  }

  void TearDown() override {
    stop_daemon(daemon);
    const std::string errors = read_file("/tmp/daemon.err");
    EXPECT_EQ(errors.find("Sanitizer"), std::string::npos) << errors;
    EXPECT_EQ(errors.find("runtime error"), std::string::npos) << errors;
  }

  /// Starts the daemon on a device that has everything it waits for, and waits until it supervises.
  void start(DaemonOptions options = {}) {
    if (service.thread.joinable() == false) {
      ASSERT_TRUE(
          start_status_service(service, StatusMode::kAnswerAndClose, default_status_answer()));
    }
    give_address("eth0", "10.0.0.2/24");
    std::remove("/var/tmp/plinth_sync_ok");
    daemon = start_daemon(options);
    ASSERT_TRUE(wait_for([] { return file_exists("/var/tmp/plinth_sync_ok"); })) << main_log();
  }

  /// What the daemon uses once its first passes, with their marker file open for a while, are over.
  Usage settled_usage() {
    std::this_thread::sleep_for(std::chrono::seconds(1));
    return usage_of(daemon);
  }

  /// The memory that is the daemon's alone: other tests run the same program at the same time.
  long own_memory_kib() {
    const std::string status = read_file("/proc/" + std::to_string(daemon.pid) + "/status");
    return std::strtol(status.c_str() + status.find("RssAnon:") + 8, nullptr, 10);
  }

  StatusService service;
  UdpSink udp;
  TcpSink tcp;
  Daemon daemon;
};

}  // namespace kovo::device
