// The difference of two texts as a diff.
#pragma once

#include <string>
#include <string_view>

namespace kovo::check {

/// Returns the difference of two texts as a unified diff for `git apply` and `patch -p1`; "" when
/// they are equal.
std::string unified_diff(std::string_view path, std::string_view before, std::string_view after);

}  // namespace kovo::check
