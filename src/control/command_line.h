// How a text of tcp:2700 is read: pure data in, data out.
#pragma once

#include <optional>
#include <string_view>

#include "frame/text.h"

namespace kovo {

/// Splits a text, which counts up to kMaxCommand bytes and without its final newline, into key and
/// value. The key is a command, or the names to be pushed, a line each.
KeyValue split_command_line(std::string_view text);

/// Returns whether a key is a command and not a name.
bool is_command(std::string_view key);

/// Returns the names that a test command pushes, a line each; nothing for any other key.
std::optional<std::string_view> tested_names(std::string_view key);

}  // namespace kovo
