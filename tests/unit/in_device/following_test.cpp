#include <gtest/gtest.h>

#include "core/mapping_tables.h"
#include "daemon/state/central_state.h"
#include "daemon/state/definition_file.h"
#include "daemon/state/event_queue.h"
#include "daemon/state/variable_store.h"
#include "daemon/workers/change_worker.h"
#include "daemon/workers/status_worker.h"
#include "tests/unit/in_device/logs.h"

namespace kovo {
namespace {

// What needs the objects, but neither the process nor the passing of time.
struct Following : ::testing::Test {
  void SetUp() override {
    event_queue = queue.get();
    central_state = &state;
    const MutexLock held(state.mapping_lock);
    state.changes.mapping_table = mapping_rows(Variant::kOutput);
  }

  std::string follow(const char* name, const char* value, std::int64_t now) {
    static std::int64_t seconds = 0;
    seconds = now;
    follow_change(state, registry, {name, value}, [] { return seconds; });
    return pushed_events();
  }

  std::unique_ptr<EventQueue> queue = make_event_queue();
  CentralState state;
  VariableRegistry registry;
};

TEST_F(Following, RowsHaveHoldOffTimesThatStartAnewWithEachMessage) {
  EXPECT_EQ(follow("DEVICE_NAME", "a", 1000), "name ");
  EXPECT_EQ(follow("device_name", "b", 1002), "");
  EXPECT_EQ(follow("DEVICE_NAME", "c", 1006), "");
  EXPECT_EQ(follow("DEVICE_NAME", "e", 1011), "name ");
  EXPECT_EQ(follow("DEVICE_NAME", "g", 500), "name ") << "the clock was set back";

  const auto is_skipped = [&](std::int64_t now) {
    static std::int64_t seconds = 0;
    seconds = now;
    handle_status_line(state, registry, "mute", [] { return seconds; });
    const std::string log = event_log();
    std::remove(kEventLog);
    return log == "skip event mute, now-last=2 sec\n";
  };
  const std::pair<std::int64_t, bool> lines[] = {{1000, false}, {1002, true}, {1004, true},
                                                 {1007, false}, {500, false}, {1007, false}};
  for (const auto& [now, skipped] : lines) EXPECT_EQ(is_skipped(now), skipped) << now;
  EXPECT_EQ(follow("TX_A_MUTE", "1", 1011), "") << "the row is the same";
}

TEST_F(Following, TimingWordsAreStoredInTheirParts) {
  const std::string both = "YCbCrOutput HDMIOutResolution ";
  const struct {
    const char* value;
    std::string events;
    const char* parts;
  } words[] = {
      {"20800010", both, "1 1 0010 0 AUTO 3 "},
      {"0x2000401D", both, "1 0 401D 0 ON 4 "},
      {"2000FFFF", "HDMIOutResolution ", "1 0 401D 0 ON 0 "},  // an unknown code is not stored
      {"7", both, "0 0 0 0 OFF 0 "},
      {"FFFFFFFFFF", both, "1 1 0 1 AUTO 0 "},
      {"80000000", both, "0 1 0000 1 OFF 0 "},
      {"00800000 junk", "HDMIOutResolution ", "0 1 0000 0 OFF 0 "},
  };
  std::int64_t now = 1000;
  for (const auto& word : words) {
    EXPECT_EQ(follow("V_OUTPUT_TIMING_CONVERT", word.value, now += 5), word.events);
    std::string parts;
    for (const char* part : {"Bit29", "Bit23", "resolutionRaw", "enable", "yuvout", "resolution"}) {
      parts += lm_get(registry, std::string("V_OUTPUT_TIMING_CONVERT.") + part) + " ";
    }
    EXPECT_EQ(parts, word.parts) << word.value;
  }
}

TEST_F(Following, PowerOnIsQueuedInFrontOfTheOthers) {
  state.definition_entries = parse_definitions("ACount=1\nPowerOnCount=1");
  rebuild_kovo_event_list(state, 0);
  push_event_back(*queue, state, "A\n", 0);
  push_event_front(*queue, state, "PowerOn", 0);
  const MutexLock held(queue->lock);
  EXPECT_EQ(queue->pending.entries.front().item.name, "PowerOn");
}

}  // namespace
}  // namespace kovo
