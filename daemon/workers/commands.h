// The remote commands of the variable channels. Replies go to the address and port named in the
// command, as a fresh datagram or connection.
#pragma once

#include <cstddef>
#include <string>

#include "core/message.h"
#include "daemon/state/variable_store.h"

namespace kovo {

constexpr std::size_t kLinesPerMessage = 5;  // of a renew

/// Runs the command of a message. Returns false when no command has its word, or the command
/// refuses its arguments; a get for a port that is not positive is silently ignored. A reply to a
/// dead TCP target costs its time-outs. Called by handle_lm_event.
bool run_command(VariableRegistry& registry, const Message& message);

/// Returns the lines of the next variables for one renew message, at most kLinesPerMessage, as they
/// are now, and advances `next`, the index of the first, past them. Holds registry_lock only for
/// these lines, so that nothing waits while thousands are sent.
std::string renew_lines(const VariableRegistry& registry, std::size_t& next);

}  // namespace kovo
