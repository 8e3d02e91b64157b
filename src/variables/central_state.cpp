#include "variables/central_state.h"

#include "definitions/settings.h"
#include "frame/device_param.h"
#include "frame/host.h"
#include "frame/text.h"
#include "variables/mapping_tables.h"

namespace kovo {

std::unique_ptr<CentralState> make_central_state() {
  auto state = std::make_unique<CentralState>();
  state->created_at = steady_ns();
  renew_enable_event(*state);
  const std::string mode = query_device_param("WPA_EAP_MODE");
  {
    const MutexLock held(state->mapping_lock);
    state->wpa_eap_mode = mode;
    state->p8021_status = p8021_status_of(mode);
  }
  state->vid = query_device_param("VID");
  state->pid = query_device_param("PID");
  const Variant variant = variant_of(state->pid);
  state->has_video_input = variant.has_video_input;
  state->usbc_input = variant.usbc_input;
  state->resolution_table = make_resolution_table();
  build_mapping_table(*state);
  return state;
}

const char* p8021_status_of(std::string_view wpa_eap_mode) {
  return equals_nocase(wpa_eap_mode, "off") ? "off" : "on";
}

}  // namespace kovo
