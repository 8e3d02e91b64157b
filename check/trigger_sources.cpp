#include "check/trigger_sources.h"

#include "core/change_rules.h"
#include "core/setting_rules.h"

namespace kovo::check {
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

}  // namespace kovo::check
