// The device's parameter tool.
#pragma once

#include <string>

namespace kovo {

/// The current value of one device parameter: the first line, at most kMaxPath bytes, of what the
/// parameter tool prints; "" when it cannot be run or prints nothing. Waits for the tool to end.
/// Any thread; no lock.
std::string query_device_param(const std::string& name);

}  // namespace kovo
