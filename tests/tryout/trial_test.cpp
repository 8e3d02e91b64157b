// The device of the try-out page raises what the daemon raises.
#include "tryout/trial.h"

#include <random>

#include "engine/event_queue.h"
#include "frame/globals.h"
#include "tests/daemon/device_test.h"
#include "variables/central_state.h"
#include "variables/change_processing.h"
#include "variables/mapping_tables.h"
#include "variables/variable_registry.h"

namespace kovo::device {
namespace {

const char* const kNames[] = {"DEVICE_NAME",  "device_name",    "MY_IP",
                              "CH_SELECT",    "HDMI_IN_STATUS", "HDMI_OUT_STATUS",
                              "S0_BAUDRATE",  "s0_baudrate",    "V_OUTPUT_TIMING_CONVERT",
                              "WPA_EAP_MODE", "UNMAPPED"};
const char* const kValues[] = {"off",  "OFF",      "PEAP",     "TLS",      "9600-8N1", "9600-8n1",
                               "7E-2", "9600-8E1", "20800010", "80000000", "20000010", ""};

TEST(Trial, ChangesOfVariablesRaiseWhatTheyRaiseInTheDaemon) {
  std::mt19937 random(20260131);
  const auto below = [&](std::size_t limit) { return random() % limit; };
  for (const Variant variant : {Variant{1, 0}, Variant{1, 1}, Variant{0, 0}}) {
    const auto queue = make_event_queue();
    CentralState state;
    VariableRegistry registry;
    event_queue = queue.get();
    central_state = &state;
    {
      const MutexLock held(state.mapping_lock);
      state.mapping_table = mapping_rows(variant);
      state.resolution_table = make_resolution_table();
      state.p8021_status = state.wpa_eap_mode = "off";
    }
    tryout::TrialDevice trial = tryout::started_device(variant, 0);
    static std::int64_t seconds;
    seconds = 1'700'000'000;
    std::string pushed;
    std::string raised;
    for (int at = 0; at < 150; ++at) {
      seconds += static_cast<std::int64_t>(below(4));
      const std::string name = kNames[below(std::size(kNames))];
      const std::string value = kValues[below(std::size(kValues))];
      follow_change(state, registry, name, value, [] { return seconds; });
      const auto reaction =
          tryout::take_message(trial, "e_param_set::" + name + "::" + value, {0, seconds});
      for (const std::string& trigger : reaction.triggers) {
        raised.append("push event: ").append(trigger).append("\n");
      }
    }
    const std::string log = event_log();
    for (const std::string_view line : split_lines(log)) {
      if (starts_with_nocase(line, "push event: ")) pushed.append(line).append("\n");
    }
    std::remove(kEventLog);
    EXPECT_EQ(raised, pushed);
    EXPECT_GT(pushed.size(), 500U);
  }
}

}  // namespace
}  // namespace kovo::device
