// The device-status intake: lines of another program on the device, by UDP on the loopback address.
// Settings are applied when they arrive; every line is worked off at four lines a second.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace kovo {

struct CentralState;
struct VariableRegistry;

constexpr std::uint16_t kStatusPort = 2728;
constexpr std::int64_t kRepeatS = 2;  // a row that counts again within this is filtered

/// Thread body; its argument is the CentralState. Returns after a socket failure.
void* handle_udp_vep_api(void* state);

/// Thread body; its argument is the CentralState. One line of api_queue every 250 ms.
void* handle_vep_api(void* state);

/// Handles one status line. Called by handle_vep_api; takes mapping_lock, the locks of
/// lm_set_change and of a push, one after the other.
void handle_status_line(CentralState& state, VariableRegistry& registry, std::string_view text);

/// The events that a change of the playback selection raises, in their order.
std::vector<const char*> playback_events(std::string_view before, std::string_view after);

}  // namespace kovo
