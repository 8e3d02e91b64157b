// A device's status as text, from its file or from its status service.
#pragma once

#include <string>
#include <string_view>

#include "core/templates.h"

namespace kovo::check {

/// Reads lines name=value, as /tmp/kovo_var.txt has them, or lines name:value, as the status
/// service answers; the first line decides which. Lines may end in CR, LF or both. Ignores what is
/// beyond kMaxStatusVars or kMaxStatusBytes, as the daemon does, and a prompt on the first line.
/// Returns "", or what is wrong: also fewer lines than kMinStatusVars.
std::string parse_status(std::string_view text, StatusVars& status);

}  // namespace kovo::check
