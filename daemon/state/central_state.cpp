#include "daemon/state/central_state.h"

#include "core/mapping_tables.h"
#include "daemon/state/settings.h"
#include "daemon/system/shell.h"

namespace kovo {
std::unique_ptr<CentralState> make_central_state() {
  auto state = std::make_unique<CentralState>();
  renew_enable_event(*state);
  const std::string mode = query_device_param("WPA_EAP_MODE");
  query_device_param("VID");  // unused, but integrators see the query in the tool's log
  const std::string pid = query_device_param("PID");
  const std::string playlist = query_device_param("LIVE_PLAYLIST_CONTENT");
  const std::string serial_format = query_device_param("S0_BAUDRATE");
  const MutexLock held(state->mapping_lock);
  state->changes.mapping_table = mapping_rows(variant_of(pid));
  state->changes.playback = playlist == "0" ? "local" : "local:" + playlist;
  state->changes.serial_format = serial_format;
  store_wpa_mode(state->changes, mode);
  return state;
}

}  // namespace kovo
