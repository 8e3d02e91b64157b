// The ports on the loopback address on which the daemon receives.
#pragma once

#include <cstdint>

namespace kovo {

constexpr std::uint16_t kCommandPort = 2700;   // TCP: names of events
constexpr std::uint16_t kVariablePort = 2727;  // UDP and TCP: device variables, remote commands
constexpr std::uint16_t kStatusPort = 2728;    // UDP: status lines

}  // namespace kovo
