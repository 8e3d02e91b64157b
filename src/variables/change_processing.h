// Carries out what follows from a variable's new value: sets, notifications and events.
#pragma once

#include <string_view>

#include "frame/host.h"
#include "variables/change_rules.h"

namespace kovo {

struct CentralState;
struct VariableRegistry;

/// Processes one variable change: decodes its raw value, stores it, notifies every client and calls
/// follow_change. Called only by handle_lm_event; takes the locks of lm_set, then those of
/// follow_change.
void process_variable_change(CentralState& state, VariableRegistry& registry, std::string_view name,
                             std::string_view raw);

/// Runs the rules for a stored variable, one after the other, each with the time read just before
/// it, and carries out what they return. Takes mapping_lock for one rule at a time, the locks of
/// lm_set for derived variables, and EventQueue.lock for each push.
void follow_change(CentralState& state, VariableRegistry& registry, const VariableChange& change,
                   SecondsClock clock);

}  // namespace kovo
