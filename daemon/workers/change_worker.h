// The worker of port 2727: takes its messages from lm_queue and processes them in order.
#pragma once

#include <string_view>

#include "core/change_rules.h"
#include "daemon/system/host.h"

namespace kovo {

struct CentralState;
struct VariableRegistry;

/// Thread body; its argument is the CentralState, the variables are the global registry's. Once
/// `ready`, processes lm_queue until it is empty, and again every 200 ms.
void* handle_lm_event(void* state);

/// Splits a message and runs its command; one that begins with e_param_set is mirrored first. An
/// unknown, malformed or refused command is logged; a message without a colon is silently ignored.
/// Called by handle_lm_event.
void handle_message(CentralState& state, VariableRegistry& registry, std::string_view text);

/// Runs the rules for a variable that has been stored, each with the time read just before it, and
/// carries out the actions. Takes mapping_lock for one rule at a time, then the locks of lm_set and
/// EventQueue.lock.
void follow_change(CentralState& state, VariableRegistry& registry, const VariableChange& change,
                   SecondsClock clock);

}  // namespace kovo
