// The clients that hear of variable changes. A client is its protocol, address and port; removal
// keeps the order of the rest. All of it takes registry_lock; called by handle_lm_event.
#pragma once

#include <string>

#include "variables/variable_registry.h"

namespace kovo {

/// Register a client unless it is there already, or remove it if it is. The address is compared
/// byte by byte. Return 0.
int client_udp_add(VariableRegistry& registry, const std::string& ip, int port);
int client_tcp_add(VariableRegistry& registry, const std::string& ip, int port);
int client_udp_del(VariableRegistry& registry, const std::string& ip, int port);
int client_tcp_del(VariableRegistry& registry, const std::string& ip, int port);

/// The number of clients of both kinds.
int client_count(VariableRegistry& registry);

}  // namespace kovo
