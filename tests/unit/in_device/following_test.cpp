#include <gtest/gtest.h>

#include "control/status_intake.h"
#include "engine/event_queue.h"
#include "frame/globals.h"
#include "tests/unit/in_device/logs.h"
#include "variables/central_state.h"
#include "variables/change_processing.h"
#include "variables/mapping_tables.h"
#include "variables/variable_store.h"

namespace kovo {
namespace {

// What needs the objects, but neither the process nor the passing of time.
struct Following : ::testing::Test {
  void SetUp() override {
    event_queue = queue.get();
    central_state = &state;
    const MutexLock held(state.mapping_lock);
    state.mapping_table = mapping_rows({0, 0});
    state.resolution_table = make_resolution_table();
    state.p8021_status = "off";
    state.wpa_eap_mode = "off";
  }

  /// The events pushed since the last call.
  std::string pushed() {
    const std::string log = event_log();
    std::string names;
    for (const std::string_view line : split_lines(log)) {
      if (starts_with_nocase(line, "push event: ")) names.append(line.substr(12)).append(" ");
    }
    std::remove(kEventLog);
    return names;
  }

  std::string follow(const char* name, const char* value, std::int64_t now) {
    static std::int64_t seconds = 0;
    seconds = now;
    follow_change(state, registry, name, value, [] { return seconds; });
    return pushed();
  }

  std::unique_ptr<EventQueue> queue = make_event_queue();
  CentralState state;
  VariableRegistry registry;
};

TEST_F(Following, MappedEventsKeepQuietForFourSecondsAfterEachMessage) {
  EXPECT_EQ(follow("DEVICE_NAME", "a", 1000), "name ");
  EXPECT_EQ(follow("device_name", "b", 1002), "");
  EXPECT_EQ(follow("DEVICE_NAME", "c", 1006), "") << "the second message started the period anew";
  EXPECT_EQ(follow("MY_IP", "d", 1006), "ipAddr ");
  EXPECT_EQ(follow("DEVICE_NAME", "e", 1011), "name ");
  EXPECT_EQ(follow("UNMAPPED", "f", 1011), "");
  EXPECT_EQ(follow("DEVICE_NAME", "g", 500), "name ") << "the clock was set back";
}

TEST_F(Following, SerialFormatsRaiseAnEventForEachPart) {
  EXPECT_EQ(follow("S0_BAUDRATE", "9600-8N1", 1), "") << "the first value only primes the row";
  EXPECT_EQ(follow("S0_BAUDRATE", "9600-8n1", 1), "") << "equal but for letter case";
  EXPECT_EQ(follow("S0_BAUDRATE", "115200-8E1", 1), "serialBaud serialParity ");
  EXPECT_EQ(lm_get(registry, "S0_BAUDRATE.baudrate"), "115200");
  EXPECT_EQ(lm_get(registry, "S0_BAUDRATE.parity"), "E");
  EXPECT_EQ(lm_get(registry, "S0_BAUDRATE.databits"), "");
  EXPECT_EQ(follow("S0_BAUDRATE_X", "115200-7", 1), "serialNumBits serialParity serialStopBits ");
  EXPECT_EQ(follow("S0_BAUDRATE", "none", 1), "");
  for (const char* name : {"S0_BAUDRAT", "V_OUTPUT_TIMING_CONVER", "WPA_EAP_MOD"}) {
    EXPECT_EQ(follow(name, "1-234", 1), "") << "no name of what is decoded";
  }
}

TEST_F(Following, TimingWordsAreStoredInTheirParts) {
  const auto stored = [&] {
    std::string text;
    for (const char* part : {"Bit29", "Bit23", "resolutionRaw", "enable", "yuvout", "resolution"}) {
      text += lm_get(registry, std::string("V_OUTPUT_TIMING_CONVERT.") + part) + " ";
    }
    return text;
  };
  const char* name = "V_OUTPUT_TIMING_CONVERT";
  EXPECT_EQ(follow(name, "20800010", 1000), "YCbCrOutput HDMIOutResolution ");
  EXPECT_EQ(stored(), "1 1 0010 0 AUTO 3 ");
  EXPECT_EQ(follow(name, "80000000", 1002), "") << "within the pause of both";
  EXPECT_EQ(stored(), "0 1 0000 1 OFF 0 ");
  EXPECT_EQ(follow(name, "0x2000401D", 1007), "YCbCrOutput HDMIOutResolution ");
  EXPECT_EQ(stored(), "1 0 401D 0 ON 4 ");
  EXPECT_EQ(follow(name, "2000FFFF", 1012), "HDMIOutResolution ");
  EXPECT_EQ(stored(), "1 0 401D 0 ON 0 ") << "an unknown code is not stored";
  EXPECT_EQ(follow(name, "7", 1017), "YCbCrOutput HDMIOutResolution ");
  EXPECT_EQ(stored(), "0 0 0 0 OFF 0 ");
  EXPECT_EQ(follow(name, "FFFFFFFFFF", 1022), "YCbCrOutput HDMIOutResolution ");
  EXPECT_EQ(stored(), "1 1 0 1 AUTO 0 ");
  EXPECT_EQ(follow(name, "00800000 junk", 1027), "YCbCrOutput HDMIOutResolution ");
  EXPECT_EQ(stored(), "0 1 0 0 OFF 0 ");
}

TEST_F(Following, WpaModesRaiseTheirTwoEvents) {
  EXPECT_EQ(follow("WPA_EAP_MODE", "OFF", 1000), "");
  EXPECT_EQ(follow("WPA_EAP_MODE", "PEAP", 1000), "p8021enable p8021status ");
  EXPECT_EQ(follow("WPA_EAP_MODE", "off", 1002), "");
  EXPECT_EQ(follow("WPA_EAP_MODE", "TLS", 1003), "p8021enable p8021status ");
  EXPECT_EQ(follow("WPA_EAP_MODE", "PEAP", 1006), "p8021status ");
  EXPECT_EQ(follow("WPA_EAP_MODE", "off", 500), "p8021enable p8021status ");
}

TEST_F(Following, RowsOfStatusLinesKeepQuietForTwoSecondsAfterEachLine) {
  const auto skipped = [&](std::int64_t now) {
    static std::int64_t seconds = 0;
    seconds = now;
    handle_status_line(state, registry, "mute", [] { return seconds; });
    const std::string log = event_log();
    std::remove(kEventLog);
    return log;
  };
  EXPECT_EQ(skipped(1000), "");
  EXPECT_EQ(skipped(1002), "skip event mute, now-last=2 sec\n");
  EXPECT_EQ(skipped(1004), "skip event mute, now-last=2 sec\n") << "a skipped line counts as well";
  EXPECT_EQ(skipped(1007), "");
  EXPECT_EQ(skipped(500), "");
  EXPECT_EQ(skipped(1007), "");
  EXPECT_EQ(follow("TX_A_MUTE", "1", 1011), "") << "the row is the same";
}

}  // namespace
}  // namespace kovo
