// Helpers that parse the text of a log record from its beginning or its end.
#pragma once

#include <cstdint>
#include <string_view>

namespace kovo::check {

/// Removes a prefix; returns whether it was there.
bool skip(std::string_view& text, std::string_view prefix);

/// Removes a suffix; returns whether it was there.
bool drop(std::string_view& text, std::string_view suffix);

/// Returns the digits at the beginning.
std::string_view digits_at(std::string_view text);

/// Removes "[routine:123] " and returns the routine; "" when the text does not begin with one.
std::string_view skip_origin(std::string_view& text);

/// Removes `before`, a number and `after` from the end, as in "..., word=123 sec"; returns whether
/// they were there.
bool drop_number(std::string_view& text, std::string_view before, std::string_view after,
                 std::int64_t& number);

/// Returns whether a record of the main log begins here.
bool is_main_head(std::string_view text);

}  // namespace kovo::check
