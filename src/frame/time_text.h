// Moments as texts: pure data in, text out.
#pragma once

#include <ctime>
#include <string>

namespace kovo {

/// The date as in "2025-03-05 ", with its trailing blank.
std::string date_text(const std::tm& time);

/// The time of day as in "07:04:09".
std::string time_text(const std::tm& time);

}  // namespace kovo
