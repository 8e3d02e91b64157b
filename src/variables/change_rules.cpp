#include "variables/change_rules.h"

#include <array>
#include <iterator>
#include <utility>

#include "frame/text.h"

namespace kovo {
namespace {

using Kind = ActionKind;

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

ChangeActions serial_rule(ChangeMemory& memory, const VariableChange& change, std::int64_t) {
  MappingRow* row = find_row(memory.mapping_table, &MappingRow::status, "serialBaud");
  const std::string old(cut_text(row->last_value, kMaxShortText));
  row->last_value = change.value;
  if (old.empty()) return {{Kind::kFirstFormat, "serialBaud"}};
  ChangeActions actions = {{Kind::kSerialFormat, old, row->last_value}};
  if (!equals_nocase(old, change.value) && contains(old, "-") && contains(change.value, "-")) {
    const auto before = split_serial(old);
    const auto after = split_serial(change.value);
    for (std::size_t part = 0; part < kSerialParts; ++part) {
      if (before[part] == after[part]) continue;
      actions.push_back({Kind::kSet, kSerialFields[part].variable, std::string(after[part])});
      actions.push_back({Kind::kPushSerial, kSerialFields[part].event});
    }
  }
  if (actions.size() == 1) actions.push_back({Kind::kUnchanged, "serialBaud", old});
  return actions;
}

/// Raises a dedicated event unless it was last raised within its pause.
ChangeAction raise_after_pause(const char* event, std::int64_t& last_time, std::int64_t now_s) {
  if (pause_lasts(now_s - last_time, kEventPauseS)) return {Kind::kInPause, event};
  last_time = now_s;
  return {Kind::kPushDedicated, event};
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

ChangeActions timing_bits_rule(ChangeMemory&, const VariableChange& change, std::int64_t) {
  const std::uint32_t word = timing_word(change);
  ChangeActions actions = {
      {Kind::kSet, "V_OUTPUT_TIMING_CONVERT.Bit29", bit_text(word, kYuvGiven)}};
  if ((word & kYuvGiven) != 0) {
    actions.push_back({Kind::kSet, "V_OUTPUT_TIMING_CONVERT.Bit23", bit_text(word, kYuvAuto)});
  }
  return actions;
}

ChangeActions yuv_rule(ChangeMemory& memory, const VariableChange& change, std::int64_t now_s) {
  constexpr char kEvent[] = "YCbCrOutput";
  const char* yuv = yuv_of(timing_word(change));
  if (equals_nocase(yuv, memory.yuv_out)) return {{Kind::kUnchanged, kEvent, yuv}};
  memory.yuv_out = yuv;
  return {raise_after_pause(kEvent, memory.yuv_event_time, now_s)};
}

/// The last four digits of the word are the code of the resolution. An unknown code is not stored.
ChangeActions timing_fields_rule(ChangeMemory&, const VariableChange& change, std::int64_t) {
  constexpr std::size_t kCodeDigits = 4;
  const std::string_view value = change.value;
  const std::uint32_t word = timing_word(change);
  const std::string_view code =
      value.size() < kCodeDigits ? "0" : value.substr(value.size() - kCodeDigits);
  const ResolutionEntry* entry = find_resolution(code);
  const int resolution = entry == nullptr ? 0 : entry->index;
  ChangeActions actions;
  if (entry != nullptr) {
    actions.push_back({Kind::kSet, "V_OUTPUT_TIMING_CONVERT.resolutionRaw", std::string(code)});
  }
  actions.push_back({Kind::kSet, "V_OUTPUT_TIMING_CONVERT.enable", bit_text(word, kTimingEnable)});
  actions.push_back({Kind::kSet, "V_OUTPUT_TIMING_CONVERT.yuvout", yuv_of(word)});
  actions.push_back({Kind::kSet, "V_OUTPUT_TIMING_CONVERT.resolution", std::to_string(resolution)});
  return actions;
}

const char* p8021_status_of(std::string_view mode) {
  return equals_nocase(mode, "off") ? "off" : "on";
}

ChangeActions p8021_enable_rule(ChangeMemory& memory, const VariableChange& change,
                                std::int64_t now_s) {
  constexpr char kEvent[] = "p8021enable";
  const char* status = p8021_status_of(change.value);
  if (equals_nocase(status, memory.p8021_status)) return {{Kind::kUnchanged, kEvent, status}};
  return {raise_after_pause(kEvent, memory.p8021enable_time, now_s)};
}

ChangeActions p8021_status_rule(ChangeMemory& memory, const VariableChange& change,
                                std::int64_t now_s) {
  constexpr char kEvent[] = "p8021status";
  const bool same = equals_nocase(change.value, memory.wpa_eap_mode);
  store_wpa_mode(memory, change.value);
  if (same) return {{Kind::kUnchanged, kEvent, memory.wpa_eap_mode}};
  return {raise_after_pause(kEvent, memory.p8021status_time, now_s)};
}

/// The hold-off time starts again at every message, also at one that raises nothing.
ChangeActions mapping_rule(ChangeMemory& memory, const VariableChange& change, std::int64_t now_s) {
  MappingRow* row = find_row(memory.mapping_table, &MappingRow::variable, change.name);
  if (row == nullptr) return {{Kind::kUnmapped, std::string(change.name)}};
  const std::int64_t since_last_s = now_s - std::exchange(row->last_time, now_s);
  const Kind kind = pause_lasts(since_last_s, kHoldOffS) ? Kind::kHoldOff : Kind::kPushMapped;
  return {{kind, row->status, row->variable, since_last_s}};
}

}  // namespace

bool pause_lasts(std::int64_t since_last_s, std::int64_t pause_s) {
  return since_last_s >= 0 && since_last_s <= pause_s;
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

ChangeActions playback_rule(ChangeMemory& memory, std::string_view name, std::int64_t now_s) {
  MappingRow* row = find_row(memory.mapping_table, &MappingRow::setting, "local:x");
  if (equals_nocase(name, row->last_value)) {
    return {{Kind::kUnchanged, "playMode", std::string(name)}};
  }
  const bool was_local = starts_with_nocase(row->last_value, "local:");
  const bool is_local = starts_with_nocase(name, "local:");
  row->last_value = name;
  row->last_time = now_s;
  if (was_local && is_local) return {{Kind::kPushPlayback, "localPlayList"}};
  if (was_local) return {{Kind::kPushPlayback, "playMode"}};
  if (is_local) return {{Kind::kPushPlayback, "playMode"}, {Kind::kPushPlayback, "localPlay"}};
  return {{Kind::kUnchanged, "playMode", "not local:"}};
}

ChangeActions status_rule(ChangeMemory& memory, std::string_view name, std::int64_t now_s) {
  ChangeActions actions;
  for (MappingRow& row : memory.mapping_table) {
    if (row.setting.empty() || !starts_with_nocase(name, row.setting)) continue;
    const std::int64_t since_last_s = now_s - std::exchange(row.last_time, now_s);
    std::string event = row.status;
    if (event.back() == '#') event.pop_back();
    const Kind kind = pause_lasts(since_last_s, kRepeatS) ? Kind::kHoldOff : Kind::kCount;
    actions.push_back({kind, event, row.status, since_last_s});
  }
  if (actions.empty()) actions.push_back({Kind::kUnmapped, std::string(name)});
  return actions;
}

}  // namespace kovo
