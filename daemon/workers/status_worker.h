// The worker of port 2728: takes status lines from api_queue and processes them in order.
#pragma once

#include <string_view>

#include "daemon/system/host.h"

namespace kovo {

struct CentralState;
struct VariableRegistry;

/// Thread body; its argument is the CentralState, the variables are the global registry's. Takes
/// one line of api_queue every 250 ms.
void* handle_vep_api(void* state);

/// Processes a status line. Reads the clock after an HDCP state is stored, which may take
/// seconds. Called by handle_vep_api. Takes the locks of lm_set_change, then mapping_lock, then
/// EventQueue.lock or that of lm_queue, one after the other.
void handle_status_line(CentralState& state, VariableRegistry& registry, std::string_view text,
                        SecondsClock clock);

}  // namespace kovo
