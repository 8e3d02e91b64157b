// The texts of tcp:2700: triggers and commands.
#pragma once

#include <optional>
#include <string_view>

#include "core/text.h"

namespace kovo {

/// Splits a text, truncated to kMaxCommand bytes and without its final newline, into key and value.
/// The key is a command, or the triggers to push, one a line.
KeyValue split_command_line(std::string_view text);

/// Returns whether a key is a command, "__TEST__:NAME" and the like.
bool is_command(std::string_view key);

/// Returns the names of events that a test command pushes, one a line; nothing for another key.
std::optional<std::string_view> tested_names(std::string_view key);

/// Returns whether a command enables events or disables them; nothing for another key.
std::optional<bool> enables_events(const KeyValue& command);

}  // namespace kovo
