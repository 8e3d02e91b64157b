// The clients that are notified of variable changes. A client is its protocol, address and port;
// removal keeps the order of the rest. Called by handle_lm_event; each function takes
// registry_lock.
#pragma once

#include <string>

#include "variables/variable_store.h"

namespace kovo {

/// Add a client unless it is registered, or remove it if it is. The address is compared byte by
/// byte. Return 0.
int client_udp_add(VariableRegistry& registry, const std::string& ip, int port);
int client_tcp_add(VariableRegistry& registry, const std::string& ip, int port);
int client_udp_del(VariableRegistry& registry, const std::string& ip, int port);
int client_tcp_del(VariableRegistry& registry, const std::string& ip, int port);

/// Returns the number of clients of both kinds.
int client_count(const VariableRegistry& registry);

}  // namespace kovo
