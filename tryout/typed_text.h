// Payloads as people type them: as text with escape sequences, or as hexadecimal.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kovo::tryout {

/// Returns the bytes of a payload typed as text. \r, \n, \t, \\, \xHH, <CR> and <LF> stand for one
/// byte each, and so do $0D, $0A, %0D and %0A. Any other "$" and "%" is literal: commands of
/// projectors begin with "%1".
std::string bytes_of_text(std::string_view text);

/// Returns the text that bytes_of_text turns into these bytes.
std::string text_of_bytes(std::string_view bytes);

/// Returns the bytes of pairs of hexadecimal digits, each with or without 0x, \x, $ or % before it
/// and blanks and commas around it; nothing when it holds something else.
std::optional<std::string> bytes_of_hex(std::string_view text);

/// Returns whether a text is probably hexadecimal: several bytes, and not those of the text.
bool looks_like_hex(std::string_view text);

}  // namespace kovo::tryout
