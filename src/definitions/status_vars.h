// The device's status, asked from the local status service through a shell pipeline.
#pragma once

#include <string>

#include "definitions/templates.h"

namespace kovo {

struct CentralState;

constexpr int kMinStatusVars = 6;  // an answer of fewer lines is not taken

/// Asks the status service, which takes up to two seconds. An answer of at least kMinStatusVars
/// key:value lines replaces status_vars; otherwise they stay. Writes the status variables file
/// either way. Returns the number of lines of this answer, 0 when the query could not be started.
/// Called by every push (under EventQueue.lock) and by main at start-up; takes status_lock for the
/// replacement and the file.
int renew_macro_var(CentralState& state);

/// Writes key=value lines. Returns 0, or -1 when the file cannot be written.
int write_status_vars_file(const StatusVars& vars, const std::string& path);

/// Returns what the placeholders of an event stand for now. Takes status_lock.
TemplateValues template_values(const CentralState& state);

}  // namespace kovo
