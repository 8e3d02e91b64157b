// What follows from a variable's new value: the store and its clients, derived variables, and the
// event that the variable is mapped to.
#pragma once

#include <string>
#include <string_view>

#include "frame/host.h"

namespace kovo {

struct CentralState;
struct VariableRegistry;

/// Processes one variable change: decodes its raw value, stores it, notifies every client and calls
/// follow_change. Called only by handle_lm_event; takes the locks of lm_set, then those of
/// follow_change.
void process_variable_change(CentralState& state, VariableRegistry& registry, std::string_view name,
                             std::string_view raw);

/// Sets the variables derived from a stored value and pushes its events. Reads the clock at each
/// step that needs the time, since sets and pushes may take seconds. Takes mapping_lock for one
/// step at a time, the locks of lm_set for derived variables, and EventQueue.lock for each push.
void follow_change(CentralState& state, VariableRegistry& registry, const std::string& name,
                   const std::string& value, SecondsClock clock);

}  // namespace kovo
