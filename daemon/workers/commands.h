// The remote commands of the variable channels. Replies go to the address and port named in the
// command, as a fresh datagram or connection.
#pragma once

#include "core/message.h"
#include "daemon/state/variable_store.h"

namespace kovo {

/// Runs the command of a message. Returns false when no command has its word, or the command
/// refuses its arguments; a get for a port that is not positive is silently ignored. A reply to a
/// dead TCP target costs its time-outs. Called by handle_lm_event.
bool run_command(VariableRegistry& registry, const Message& message);

}  // namespace kovo
