#include "variables/triggers.h"

#include "definitions/settings.h"
#include "frame/text.h"
#include "variables/change_values.h"

namespace kovo {
namespace {

constexpr char kSerialVariable[] = "S0_BAUDRATE";  // its parts raise triggers, its row does not

/// A message finds only the first row of its variable.
void add_rows(std::vector<TriggerSource>& sources, Variant variant) {
  MappingTable table = mapping_rows(variant);
  for (const MappingRow& row : table) {
    if (row.variable == kSerialVariable) continue;
    if (find_row(table, &MappingRow::variable, row.variable) != &row) continue;
    sources.push_back({TriggerCause::kVariable, row.variable, row.status});
  }
}

}  // namespace

std::vector<TriggerSource> trigger_sources(Variant variant) {
  std::vector<TriggerSource> sources = {
      {TriggerCause::kDisplay, "", "DVIConnected"},
      {TriggerCause::kDisplay, "", "DVIDisconnected"},
      {TriggerCause::kFirstStart, "", "PowerOn"},
      {TriggerCause::kVariablePart, "V_OUTPUT_TIMING_CONVERT", "YCbCrOutput"},
      {TriggerCause::kVariablePart, "WPA_EAP_MODE", "p8021enable"},
      {TriggerCause::kVariablePart, "WPA_EAP_MODE", "p8021status"},
      {TriggerCause::kPlayback, "", "playMode"},
      {TriggerCause::kPlayback, "", "localPlayList"},
      {TriggerCause::kPlayback, "", "localPlay"},
  };
  for (const SerialField& field : kSerialFields) {
    sources.push_back({TriggerCause::kVariablePart, kSerialVariable, field.event});
  }
  add_rows(sources, variant);
  for (const char* name : kSettingNames) {
    sources.push_back({TriggerCause::kSetting, name, name});
  }
  return sources;
}

std::vector<const char*> playback_triggers(std::string_view before, std::string_view after) {
  const bool was_local = starts_with_nocase(before, "local:");
  const bool is_local = starts_with_nocase(after, "local:");
  if (was_local && is_local) return {"localPlayList"};
  if (was_local) return {"playMode"};
  if (is_local) return {"playMode", "localPlay"};
  return {};
}

}  // namespace kovo
