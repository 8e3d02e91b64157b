// The option --client: asks the device's status service and prints its answer.
#pragma once

#include <string>

namespace kovo {

/// For "getStatus", asks the status service and prints its answer as sorted name=value lines. Does
/// nothing for any other command. Returns 0. Called by main while it parses the options.
int run_client_mode(const std::string& command);

}  // namespace kovo
