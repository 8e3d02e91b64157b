// The debug mirror: sends a copy of what happens to a target that a command sets.
#pragma once

#include <cstdint>
#include <string>

#include "core/network.h"

namespace kovo {

// Levels of the mirror.
constexpr std::int32_t kMirrorEvents = 1;
constexpr std::int32_t kMirrorChanges = 2;  // and events

/// Returns whether the mirror's level is at least `level`, to save the work of a line. Any thread.
bool mirrors(std::int32_t level);

/// Sets level and target. Without an address or a positive port, switches the mirror off. Takes
/// debug_target_lock.
void set_mirror(std::int32_t level, Transport transport, const std::string& ip, int port);

/// Formats a line, truncated to kMaxCommand bytes, and sends it to the target, if the mirror's
/// level is at least `level`. Returns false when sending failed. Takes debug_target_lock to copy
/// the target, no lock while sending. Any thread.
[[gnu::format(printf, 2, 3)]] bool send_debug_line(std::int32_t level, const char* format, ...);

}  // namespace kovo
