// One-shot client of the device's status service.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

namespace kovo {

constexpr std::size_t kClientReplySize = 5000;  // reply buffer, with its terminating NUL

/// For "getStatus", asks the status service and prints its answer as sorted name=value lines; any
/// other command prints nothing. Returns 0. Called by main while it parses the options.
int run_client_mode(const std::string& command);

/// Parses an answer of lines "name: value", of which the first of a name counts. Skips blanks and
/// colons after a name's first colon; trims nothing else.
std::map<std::string, std::string> parse_client_reply(std::string_view reply);

}  // namespace kovo
