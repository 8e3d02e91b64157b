#include "daemon/state/central_state.h"

#include "core/mapping_tables.h"
#include "daemon/state/settings.h"
#include "daemon/system/host.h"
#include "daemon/system/shell.h"

namespace kovo {
namespace {

/// Fills the mapping table, and two values from the parameter tool.
void build_mapping_table(CentralState& state) {
  MappingTable table = mapping_rows({state.has_video_input, state.usbc_input});
  const std::string playlist = query_device_param("LIVE_PLAYLIST_CONTENT");
  find_row(table, &MappingRow::setting, "local:x")->last_value =
      playlist == "0" ? "local" : "local:" + playlist;
  find_row(table, &MappingRow::variable, "S0_BAUDRATE")->last_value =
      query_device_param("S0_BAUDRATE");
  const MutexLock held(state.mapping_lock);
  state.changes.mapping_table.swap(table);
}

}  // namespace

std::unique_ptr<CentralState> make_central_state() {
  auto state = std::make_unique<CentralState>();
  state->created_at = steady_ns();
  renew_enable_event(*state);
  const std::string mode = query_device_param("WPA_EAP_MODE");
  state->vid = query_device_param("VID");
  state->pid = query_device_param("PID");
  const Variant variant = variant_of(state->pid);
  state->has_video_input = variant.has_video_input;
  state->usbc_input = variant.usbc_input;
  build_mapping_table(*state);
  const MutexLock held(state->mapping_lock);
  store_wpa_mode(state->changes, mode);
  return state;
}

}  // namespace kovo
