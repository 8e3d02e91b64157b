// Names with their values, in the order in which they came.
#pragma once

#include <deque>
#include <string>
#include <utility>
#include <vector>

namespace kovo {

/// The lines of the status service's answer.
using StatusVars = std::vector<std::pair<std::string, std::string>>;

/// The persistent settings.
using Settings = std::deque<std::pair<std::string, std::string>>;

}  // namespace kovo
