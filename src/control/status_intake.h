// The device-status intake: lines of another program on the device, by UDP on the loopback address.
// Settings are applied when they arrive; four lines a second are processed.
#pragma once

#include <string_view>

#include "frame/host.h"

namespace kovo {

struct CentralState;
struct VariableRegistry;

/// Thread body; its argument is the CentralState. Returns after a socket failure.
void* handle_udp_vep_api(void* state);

/// Thread body; its argument is the CentralState, the variables are the global registry's. One line
/// of api_queue every 250 ms.
void* handle_vep_api(void* state);

/// Handles one status line. The clock is read where a row counts, since sets and pushes may take
/// seconds. Called by handle_vep_api; takes mapping_lock, the locks of lm_set_change and of a push,
/// one after the other.
void handle_status_line(CentralState& state, VariableRegistry& registry, std::string_view text,
                        SecondsClock clock);

}  // namespace kovo
