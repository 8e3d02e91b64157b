#include "variables/central_state.h"

#include "definitions/settings.h"
#include "frame/host.h"
#include "frame/shell.h"
#include "variables/change_values.h"
#include "variables/mapping_tables.h"

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
  state.mapping_table.swap(table);
}

}  // namespace

std::unique_ptr<CentralState> make_central_state() {
  auto state = std::make_unique<CentralState>();
  state->created_at = steady_ns();
  renew_enable_event(*state);
  store_wpa_mode(*state, query_device_param("WPA_EAP_MODE"));
  state->vid = query_device_param("VID");
  state->pid = query_device_param("PID");
  const Variant variant = variant_of(state->pid);
  state->has_video_input = variant.has_video_input;
  state->usbc_input = variant.usbc_input;
  state->resolution_table = make_resolution_table();
  build_mapping_table(*state);
  return state;
}

void store_wpa_mode(CentralState& state, std::string_view mode) {
  const MutexLock held(state.mapping_lock);
  state.p8021_status = p8021_status_of(mode);
  state.wpa_eap_mode = mode;
}

}  // namespace kovo
