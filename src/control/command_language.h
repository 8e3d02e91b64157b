// The remote command language of the variable channels: every message is one command. Replies go to
// the address and port named in the command, as a fresh datagram or connection.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "variables/variable_store.h"

namespace kovo {

struct CentralState;

constexpr std::size_t kLinesPerMessage = 5;  // of a renew

/// Mirrors a message, splits it and runs its command. An unknown, malformed or refused command is
/// logged; a message without a colon and a get for a port that is not positive are silently
/// ignored. A reply to a dead TCP target costs its time-outs. Called by handle_lm_event.
void handle_message(CentralState& state, VariableRegistry& registry, std::string_view text);

/// Thread body; its argument is the CentralState, the variables are the global registry's.
/// Processes lm_queue once `ready`, in order; polls it every 200 ms while it is empty.
void* handle_lm_event(void* state);

/// Returns the lines of the next variables for one renew message, at most kLinesPerMessage, as they
/// are now, and advances `next`, the index of the first, past them. Takes registry_lock only for
/// these lines: nothing waits while a store of thousands is sent.
std::string renew_lines(const VariableRegistry& registry, std::size_t& next);

}  // namespace kovo
