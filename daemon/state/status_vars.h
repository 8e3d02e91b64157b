// The device's status, queried from the local status service by a shell pipeline.
#pragma once

#include "core/network.h"
#include "core/templates.h"

namespace kovo {

struct CentralState;

/// Queries the status service, for up to two seconds. An answer of at least kMinStatusVars
/// key:value lines replaces status_vars. Writes the status variables file in any case. Returns
/// whether there was such an answer. Called by pushes (under EventQueue.lock) and by main at
/// start-up. Takes status_lock after the query.
bool renew_macro_var(CentralState& state);

/// Returns the current values of the placeholders. Takes status_lock.
TemplateValues template_values(const CentralState& state);

}  // namespace kovo
