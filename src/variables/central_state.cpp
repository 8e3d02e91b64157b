#include "variables/central_state.h"

#include "frame/host.h"
#include "frame/text.h"
#include "variables/device_param.h"
#include "variables/mapping_tables.h"

namespace kovo {
namespace {

// Place-holders: the device family's ids go here, in this order, or into the build by defining the
// macro as seven quoted texts separated by commas.
#ifndef KOVO_PRODUCT_IDS
#define KOVO_PRODUCT_IDS                                                           \
  "KV-IN-HDMI-1", "KV-IN-HDMI-2", "KV-OUT-HDMI-1", "KV-IN-USBC-1", "KV-IN-USBC-2", \
      "KV-OUT-USBC-1", "KV-OUT-USBC-2"
#endif
constexpr const char* kProductIds[] = {KOVO_PRODUCT_IDS};
constexpr Variant kVariants[] = {{1, 0}, {1, 0}, {0, 0}, {1, 1}, {1, 1}, {0, 1}, {0, 1}};
constexpr std::size_t kProducts = sizeof kVariants / sizeof kVariants[0];
static_assert(sizeof kProductIds / sizeof kProductIds[0] == kProducts, "seven product ids");

}  // namespace

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

Variant variant_of(std::string_view pid) {
  for (std::size_t id = 0; id < kProducts; ++id) {
    if (equals_nocase(pid, kProductIds[id])) return kVariants[id];
  }
  return {1, 0};
}

const char* p8021_status_of(std::string_view wpa_eap_mode) {
  return equals_nocase(wpa_eap_mode, "off") ? "off" : "on";
}

}  // namespace kovo
