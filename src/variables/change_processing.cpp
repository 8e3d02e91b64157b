#include "variables/change_processing.h"

#include <optional>

#include "engine/push_event.h"
#include "frame/host.h"
#include "frame/log.h"
#include "frame/text.h"
#include "variables/central_state.h"
#include "variables/change_values.h"
#include "variables/mapping_tables.h"
#include "variables/variable_store.h"

namespace kovo {
namespace {

// The routine that all lines of this unit name.
constexpr char kRoutine[] = "handle_lm_event";

/// Stores each part of the format that differs and pushes its event.
void process_serial(CentralState& state, VariableRegistry& registry, const std::string& value) {
  std::string old;
  {
    const MutexLock held(state.mapping_lock);
    MappingRow* row = find_row(state.mapping_table, &MappingRow::status, "serialBaud");
    if (row == nullptr) return;
    old = cut_text(row->last_value, kMaxShortText);
    row->last_value = value;
  }
  if (old.empty()) return;
  LOG_MAIN(kRoutine, "last %s, new %s\n", old.c_str(), value.c_str());
  const std::optional<SerialFormat> before = split_serial(old);
  const std::optional<SerialFormat> after = split_serial(value);
  if (equals_nocase(old, value) || !before || !after) return;
  for (const SerialField& field : kSerialFields) {
    if ((*before).*field.part == (*after).*field.part) continue;
    lm_set(registry, field.variable, (*after).*field.part);
    LOG_MAIN(kRoutine, "push event %s\n", field.event);
    push_event(field.event);
  }
}

/// Raises a dedicated event unless it was last queued within the pause. Returns whether it did.
bool raise_after_pause(const char* event, std::int64_t& last_time, std::int64_t now) {
  if (pause_lasts(now - last_time, kEventPauseS)) return false;
  log_event("%s\n", event);
  push_event(event);
  last_time = now;
  return true;
}

/// Stores the raw code of the resolution, the last four digits, and returns its index. An unknown
/// code stores nothing.
int store_resolution(CentralState& state, VariableRegistry& registry, std::string_view value) {
  constexpr char kVariable[] = "V_OUTPUT_TIMING_CONVERT.resolutionRaw";
  if (value.size() < 4) {
    lm_set(registry, kVariable, "0");
    return 0;
  }
  const std::string_view code = value.substr(value.size() - 4);
  const ResolutionEntry* entry = find_resolution(state.resolution_table, code);
  if (entry == nullptr) return 0;
  lm_set(registry, kVariable, code);
  return entry->index;
}

void process_timing(CentralState& state, VariableRegistry& registry, std::string_view value,
                    SecondsClock clock) {
  const TimingWord word = decode_timing(value);
  const std::string yuv = yuv_of(word);
  lm_set(registry, "V_OUTPUT_TIMING_CONVERT.Bit29", word.yuv_given ? "1" : "0");
  if (word.yuv_given) {
    lm_set(registry, "V_OUTPUT_TIMING_CONVERT.Bit23", word.yuv_auto ? "1" : "0");
  }
  if (!equals_nocase(yuv, state.yuv_out)) {
    const bool raised = raise_after_pause("YCbCrOutput", state.yuv_event_time, clock());
    if (!raised) LOG_DEBUG(kRoutine, "skip YCbCrOutput\n");
    state.yuv_out = yuv;
  }
  const int resolution = store_resolution(state, registry, value);
  state.votc_enable = word.enable ? "1" : "0";
  state.votc_yuvout = yuv;
  state.votc_resolution = std::to_string(resolution);
  lm_set(registry, "V_OUTPUT_TIMING_CONVERT.enable", state.votc_enable);
  lm_set(registry, "V_OUTPUT_TIMING_CONVERT.yuvout", yuv);
  lm_set(registry, "V_OUTPUT_TIMING_CONVERT.resolution", state.votc_resolution);
}

void process_wpa_mode(CentralState& state, const std::string& value, SecondsClock clock) {
  bool status_differs = false;
  bool mode_differs = false;
  {
    const MutexLock held(state.mapping_lock);
    status_differs = !equals_nocase(p8021_status_of(value), state.p8021_status);
    mode_differs = !equals_nocase(value, state.wpa_eap_mode);
  }
  if (status_differs) raise_after_pause("p8021enable", state.p8021enable_time, clock());
  if (mode_differs) raise_after_pause("p8021status", state.p8021status_time, clock());
  store_wpa_mode(state, value);
}

/// Raises the event of the variable's row, unless its last message came within the hold-off time,
/// which starts again at every message.
void process_mapping(CentralState& state, const std::string& name, std::int64_t now) {
  std::string event;
  std::int64_t since_last = 0;
  {
    const MutexLock held(state.mapping_lock);
    if (MappingRow* row = find_row(state.mapping_table, &MappingRow::variable, name)) {
      event = row->status;
      since_last = now - row->last_time;
      row->last_time = now;
    }
  }
  if (event.empty()) {
    LOG_DEBUG(kRoutine, "no mapping: %s\n", name.c_str());
  } else if (!pause_lasts(since_last, kHoldOffS)) {
    log_event("get lm event %s\n", event.c_str());
    LOG_MAIN(kRoutine, "get lm event %s\n", event.c_str());
    push_event(event);
  } else {
    log_event("[%s:%d] skip event %s, now-last=%d sec\n", kRoutine, __LINE__, event.c_str(),
              static_cast<int>(since_last));
  }
}

}  // namespace

void process_variable_change(CentralState& state, VariableRegistry& registry, std::string_view name,
                             std::string_view raw) {
  const std::string key(name);
  const std::string value = decode_value(raw);
  LOG_DEBUG(kRoutine, "get %s=%s\n", key.c_str(), value.c_str());
  lm_set(registry, key, value);
  follow_change(state, registry, key, value, now_s);
}

void follow_change(CentralState& state, VariableRegistry& registry, const std::string& name,
                   const std::string& value, SecondsClock clock) {
  if (starts_with_nocase(name, "S0_BAUDRATE")) {
    process_serial(state, registry, value);
    return;
  }
  if (starts_with_nocase(name, "V_OUTPUT_TIMING_CONVERT")) {
    process_timing(state, registry, value, clock);
  } else if (starts_with_nocase(name, "WPA_EAP_MODE")) {
    process_wpa_mode(state, value, clock);
  }
  process_mapping(state, name, clock());
}

}  // namespace kovo
