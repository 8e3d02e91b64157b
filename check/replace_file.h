// Part of the program: writes a fixed file.
#pragma once

#include <string>
#include <string_view>

namespace kovo::check {

/// Replaces a regular file, through symbolic links, by a temporary file beside it that is synced
/// and renamed; keeps its mode, and its owner where permitted. Returns the reason of a failure, in
/// which case the file is unchanged; "" when there is none.
std::string replace_file(const std::string& path, std::string_view text);

}  // namespace kovo::check
