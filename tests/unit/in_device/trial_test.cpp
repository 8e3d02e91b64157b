// The device of the try-out page raises what the daemon raises.
#include "tryout/trial.h"

#include <gtest/gtest.h>

#include <random>

#include "control/status_intake.h"
#include "definitions/settings.h"
#include "engine/event_queue.h"
#include "frame/globals.h"
#include "tests/unit/in_device/logs.h"
#include "variables/central_state.h"
#include "variables/change_processing.h"
#include "variables/mapping_tables.h"
#include "variables/variable_store.h"

namespace kovo {
namespace {

const char* const kNames[] = {
    "DEVICE_NAME",   "device_name", "CH_SELECT",    "HDMI_IN_STATUS",          "HDMI_OUT_STATUS",
    "S0_BAUDRATE",   "s0_baudrate", "WPA_EAP_MODE", "V_OUTPUT_TIMING_CONVERT", "S0_BAUDRATE_X",
    "WPA_EAP_MODES", "UNMAPPED",    "CUR_HDCP"};
const char* const kValues[] = {"off",  "OFF",      "PEAP",     "TLS",      "9600-8N1", "9600-8n1",
                               "7E-2", "9600-8E1", "20800010", "80000000", "20000010", ""};

const char* const kLines[] = {"local:a",   "LOCAL:b",     "localstop",         "local",
                              "sysName=x", "sysname=y",   "SysName=x",         "portID=1\n",
                              "portID=",   "sysDescr:a=", "CUR_HDCP=1",        "CUR_HDCP=off",
                              "seta",      "vmute=1",     "setSettings:name=1"};

TEST(Trial, MessagesRaiseWhatTheyRaiseInTheDaemon) {
  static std::int64_t seconds = 1'700'000'000;
  std::mt19937 random(20260131);
  const auto one_of = [&](const auto& texts) { return texts[random() % std::size(texts)]; };
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
      find_row(state.mapping_table, &MappingRow::setting, "local:x")->last_value = "local";
    }
    std::remove(kSettingsPath);
    init_settings(state);
    tryout::TrialDevice trial = tryout::started_device(variant, 0);
    std::string raised;
    const SecondsClock clock = [] { return seconds; };
    for (int at = 0; at < 150; ++at) {
      seconds += random() % 50 == 0 ? -100 : static_cast<int>(random() % 4);
      tryout::Reaction reaction;
      if (at % 3 == 0) {
        const std::string line = one_of(kLines);
        if (line.find_first_of("=:") != std::string::npos) apply_setting_line(state, line);
        handle_status_line(state, registry, line, clock);
        reaction = tryout::take_status_line(trial, line, {0, seconds});
      } else {
        const std::string name = one_of(kNames);
        const std::string value = one_of(kValues);
        lm_set(registry, name, value);
        follow_change(state, registry, name, value, clock);
        reaction = tryout::take_message(trial, "e_param_set::" + name + "::" + value, {0, seconds});
      }
      for (const auto& trigger : reaction.triggers) raised += trigger + " ";
    }
    EXPECT_EQ(raised, pushed_events());
    EXPECT_GT(raised.size(), 200U);
  }
}

}  // namespace
}  // namespace kovo
