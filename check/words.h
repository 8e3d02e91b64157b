// Texts of findings: bytes in a form that every terminal prints, numbers, and similar names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace kovo::check {

/// Replaces bytes that are not printable ASCII by \r, \n, \t or \xNN.
std::string escaped(std::string_view bytes);

/// Does the same and truncates the text to fit a line: for names and keys in sentences.
std::string shown(std::string_view bytes);

/// Does the same in quotes, with quotes and backslashes escaped too; truncates it after `limit`
/// bytes.
std::string quoted(std::string_view bytes, std::size_t limit = 40);

/// Returns two digits a byte, with a text between the bytes.
std::string as_hex(std::string_view bytes, std::string_view between = "");

/// Returns "1 warning", "2 warnings".
std::string counted(std::size_t count, std::string_view noun);

/// Breaks a text into lines of at most `width` bytes, at blanks; lines after the first begin with
/// `indent`. `start` bytes of the first line are used already.
std::string wrapped(std::string_view text, std::size_t width, std::string_view indent,
                    std::size_t start);

/// Returns whether a text is one or more decimal digits and nothing else.
bool is_digits(std::string_view text);

/// Returns a text without the blanks around it.
std::string_view trimmed(std::string_view text);

/// Returns a text without blanks and quotation marks around it, typographic ones too.
std::string_view without_quotes(std::string_view text);

/// A number as the daemon reads it.
struct ReadNumber {
  std::int32_t value = 0;
  bool has_digits = false;
  std::string_view rest;  // after the digits and blanks: the daemon ignores it
};
ReadNumber read_number(std::string_view text);

/// Returns the number of single letters to change, add or remove, or of neighbours to exchange; any
/// number above 2 if it is more.
std::size_t edit_distance(std::string_view a, std::string_view b);

/// Known names, for "did you mean".
struct NameSuggester {
  std::vector<std::string> names;                         // in their order of preference
  std::unordered_map<std::string, std::size_t> by_lower;  // the first of each spelling
};
NameSuggester make_suggester(std::vector<std::string> names);

/// Returns the first known name that is equal except for case and outer blanks, or else the first
/// of the nearest within two letters (fewer for short words); "" when there is none. Among more
/// than 300 names it only compares case-insensitively.
std::string nearest_name(const NameSuggester& suggester, std::string_view word);

}  // namespace kovo::check
