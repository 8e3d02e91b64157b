#include "core/change_rules.h"

#include <array>
#include <cassert>
#include <iterator>
#include <utility>

#include "core/text.h"

namespace kovo {
namespace {

using Kind = ActionKind;

// Not inlined: a rule of several actions would be twice as large.
[[gnu::noinline]] void add(RuleRun& run, Kind kind, std::string_view name,
                           std::string_view value = {}, std::string_view row_event = {},
                           std::int64_t since_last_s = 0) {
  run.actions.push_back(
      {kind, std::string(name), std::string(value), std::string(row_event), since_last_s});
}

constexpr std::size_t kSerialParts = std::size(kSerialFields);

/// Splits a format such as "9600-8N1" into the text before its first "-" and the three characters
/// after it; a missing part is empty.
std::array<std::string_view, kSerialParts> split_serial(std::string_view text) {
  std::array<std::string_view, kSerialParts> parts;
  const std::size_t hyphen = text.find('-');
  parts[0] = text.substr(0, hyphen);
  for (std::size_t part = 1; part < kSerialParts && hyphen + part < text.size(); ++part) {
    parts[part] = text.substr(hyphen + part, 1);
  }
  return parts;
}

void serial_rule(RuleRun& run) {
  const std::string old(truncated(run.memory.serial_format, kMaxShortText));
  run.memory.serial_format = run.change.value;
  if (old.empty()) return add(run, Kind::kFirstFormat, "serialBaud");
  add(run, Kind::kSerialFormat, old, run.change.value);
  if (!equals_nocase(old, run.change.value) && contains(old, "-") &&
      contains(run.change.value, "-")) {
    const auto before = split_serial(old);
    const auto after = split_serial(run.change.value);
    for (std::size_t part = 0; part < kSerialParts; ++part) {
      if (before[part] == after[part]) continue;
      add(run, Kind::kSet, kSerialFields[part].variable, after[part]);
      add(run, Kind::kPushSerial, kSerialFields[part].event);
    }
  }
  if (run.actions.size() == 1) add(run, Kind::kUnchanged, "serialBaud", old);
}

/// Raises a dedicated event unless its value is the same or it was last raised within its pause.
void raise_if_new(RuleRun& run, const char* event, bool is_same, std::string_view value,
                  std::int64_t& last_time) {
  if (is_same) return add(run, Kind::kUnchanged, event, value);
  if (pause_lasts(run.now_s - last_time, kEventPauseS)) return add(run, Kind::kInPause, event);
  last_time = run.now_s;
  add(run, Kind::kPushDedicated, event);
}

// The bits of the hexadecimal word of V_OUTPUT_TIMING_CONVERT.
constexpr std::uint32_t kTimingEnable = 0x80000000;
constexpr std::uint32_t kYuvGiven = 0x20000000;
constexpr std::uint32_t kYuvAuto = 0x00800000;

std::uint32_t timing_word(const VariableChange& change) {
  std::uint32_t word = 0;
  to_uint32(change.value, 16, word);
  return word;
}

/// Returns the colour-output mode of a timing word.
const char* yuv_of(std::uint32_t word) {
  if ((word & kYuvGiven) == 0) return "OFF";
  return (word & kYuvAuto) != 0 ? "AUTO" : "ON";
}

const char* bit_text(std::uint32_t word, std::uint32_t mask) {
  return (word & mask) != 0 ? "1" : "0";
}

void timing_bits_rule(RuleRun& run) {
  const std::uint32_t word = timing_word(run.change);
  add(run, Kind::kSet, "V_OUTPUT_TIMING_CONVERT.Bit29", bit_text(word, kYuvGiven));
  if ((word & kYuvGiven) == 0) return;
  add(run, Kind::kSet, "V_OUTPUT_TIMING_CONVERT.Bit23", bit_text(word, kYuvAuto));
}

void yuv_rule(RuleRun& run) {
  const char* yuv = yuv_of(timing_word(run.change));
  const bool is_same = equals_nocase(yuv, run.memory.yuv_out);
  run.memory.yuv_out = yuv;
  raise_if_new(run, kYuvEvent, is_same, yuv, run.memory.yuv_event_time);
}

/// The last four digits of the word are the code of the resolution. An unknown code is not stored.
void timing_fields_rule(RuleRun& run) {
  constexpr std::size_t kCodeDigits = 4;
  const std::string_view value = run.change.value;
  const std::uint32_t word = timing_word(run.change);
  const std::string_view code =
      value.size() < kCodeDigits ? "0" : value.substr(value.size() - kCodeDigits);
  const ResolutionEntry* entry = find_resolution(code);
  const int resolution = entry == nullptr ? 0 : entry->index;
  if (entry != nullptr) add(run, Kind::kSet, "V_OUTPUT_TIMING_CONVERT.resolutionRaw", code);
  add(run, Kind::kSet, "V_OUTPUT_TIMING_CONVERT.enable", bit_text(word, kTimingEnable));
  add(run, Kind::kSet, "V_OUTPUT_TIMING_CONVERT.yuvout", yuv_of(word));
  add(run, Kind::kSet, "V_OUTPUT_TIMING_CONVERT.resolution", std::to_string(resolution));
}

const char* p8021_status_of(std::string_view mode) {
  return equals_nocase(mode, "off") ? "off" : "on";
}

void p8021_enable_rule(RuleRun& run) {
  const char* status = p8021_status_of(run.change.value);
  raise_if_new(run, kEapEnableEvent, equals_nocase(status, run.memory.p8021_status), status,
               run.memory.p8021enable_time);
}

void p8021_status_rule(RuleRun& run) {
  const bool is_same = equals_nocase(run.change.value, run.memory.wpa_eap_mode);
  store_wpa_mode(run.memory, run.change.value);
  raise_if_new(run, kEapStatusEvent, is_same, run.change.value, run.memory.p8021status_time);
}

/// The hold-off time starts again at every message, also at one that raises nothing.
void mapping_rule(RuleRun& run) {
  MappingRow* row = find_row(run.memory.mapping_table, &MappingRow::variable, run.change.name);
  if (row == nullptr) return add(run, Kind::kUnmapped, run.change.name);
  const std::int64_t since_last_s = run.now_s - std::exchange(row->last_time, run.now_s);
  const Kind kind = pause_lasts(since_last_s, kHoldOffS) ? Kind::kHoldOff : Kind::kPushMapped;
  add(run, kind, row->status, row->variable, {}, since_last_s);
}

}  // namespace

bool pause_lasts(std::int64_t since_last_s, std::int64_t pause_s) {
  return since_last_s >= -pause_s && since_last_s <= pause_s;
}

ChangeActions run_rule(ChangeRule rule, ChangeMemory& memory, const VariableChange& change,
                       std::int64_t now_s) {
  RuleRun run{memory, change, now_s, {}};
  rule(run);
  return std::move(run.actions);
}

std::vector<ChangeRule> change_rules(std::string_view variable) {
  if (starts_with_nocase(variable, "S0_BAUDRATE")) return {serial_rule};
  if (starts_with_nocase(variable, "V_OUTPUT_TIMING_CONVERT")) {
    return {timing_bits_rule, yuv_rule, timing_fields_rule, mapping_rule};
  }
  if (starts_with_nocase(variable, "WPA_EAP_MODE")) {
    return {p8021_enable_rule, p8021_status_rule, mapping_rule};
  }
  return {mapping_rule};
}

void store_wpa_mode(ChangeMemory& memory, std::string_view mode) {
  memory.p8021_status = p8021_status_of(mode);
  memory.wpa_eap_mode = mode;
}

bool is_playback(std::string_view name) {
  return starts_with_nocase(name, "local");
}

bool is_hdcp_state(std::string_view name) {
  return equals_nocase(name, "CUR_HDCP") || equals_nocase(name, "HDMI2_CUR_HDCP");
}

void playback_rule(RuleRun& run) {
  std::string& selected = run.memory.playback;
  if (equals_nocase(run.change.name, selected)) {
    return add(run, Kind::kUnchanged, kPlayModeEvent, run.change.name);
  }
  const bool was_local = starts_with_nocase(selected, "local:");
  const bool is_local = starts_with_nocase(run.change.name, "local:");
  selected = run.change.name;
  find_row(run.memory.mapping_table, &MappingRow::setting, "local:x")->last_time = run.now_s;
  if (was_local && is_local) return add(run, Kind::kPushPlayback, kPlayListEvent);
  if (!was_local && !is_local) return add(run, Kind::kUnchanged, kPlayModeEvent, "not local:");
  add(run, Kind::kPushPlayback, kPlayModeEvent);
  if (is_local) add(run, Kind::kPushPlayback, kPlayEvent);
}

void status_rule(RuleRun& run) {
  for (MappingRow& row : run.memory.mapping_table) {
    if (row.setting.empty() || !starts_with_nocase(run.change.name, row.setting)) continue;
    const std::int64_t since_last_s = run.now_s - std::exchange(row.last_time, run.now_s);
    std::string_view event = row.status;
    assert(!event.empty());
    if (event.back() == '#') event.remove_suffix(1);
    const Kind kind = pause_lasts(since_last_s, kRepeatS) ? Kind::kHoldOff : Kind::kCount;
    add(run, kind, event, {}, row.status, since_last_s);
  }
  if (run.actions.empty()) add(run, Kind::kUnmapped, run.change.name);
}

}  // namespace kovo
