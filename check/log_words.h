// Takes texts of log records apart, from either end.
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

/// Removes "[routine:123] " and returns the routine; "" when there is none.
std::string_view skip_origin(std::string_view& text);

/// Removes `before`, a number and `after` from the end, as in "..., word=123"; returns whether they
/// were there.
bool drop_number(std::string_view& text, std::string_view before, std::string_view after,
                 std::int64_t& number);

/// Returns whether a record of the main log begins here.
bool is_main_head(std::string_view text);

}  // namespace kovo::check
