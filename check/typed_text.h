// Payloads as people type them: as text with escape sequences, or as hexadecimal.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kovo::check {

// What may separate pairs of hexadecimal digits.
constexpr std::string_view kHexSeparators = " \t,:;-\"'";

/// Returns the bytes of a payload typed as text. \r, \n, \t, \\, \xHH, and the names of ASCII
/// control codes such as <CR> and <STX> are one byte each, and so are $0D, $0A, %0D and %0A. Any
/// other "$" and "%" is literal: commands of projectors begin with "%1".
std::string bytes_of_text(std::string_view text);

/// Returns the text that bytes_of_text turns into these bytes.
std::string text_of_bytes(std::string_view bytes);

/// Replaces each byte that is spelled by a name or an escape sequence by its two digits.
std::string spelled_as_hex(std::string_view text);

/// Returns the bytes of pairs of hexadecimal digits, each with or without 0x, \x, $ or % before it
/// or "h" after it, and with separators around it; nothing when the text
/// contains anything else.
std::optional<std::string> bytes_of_hex(std::string_view text);

/// Returns whether a text is probably hexadecimal: several bytes, and not those of the text.
bool looks_like_hex(std::string_view text);

/// Returns the first part of a typed text that looks like the code of a byte but is literal text:
/// $02, %02, 0x02 or [STX]; "" when there is none.
std::string_view find_unread_code(std::string_view text);

}  // namespace kovo::check
