// The supervision loop: keeps the uptime, enables the display events once the power-on period is
// over, and watches three files.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

namespace kovo {

struct CentralState;

/// A modification time in seconds and nanoseconds since the epoch; none of a file that is not seen.
using FileTime = std::optional<std::pair<std::int64_t, long>>;

/// What the loop remembers from pass to pass.
struct Supervision {
  std::int64_t last_second = 0;
  FileTime definition_time;
  FileTime sync_time;
  FileTime snapshot_time;
};

/// Reads and compiles the definition file; the old events stay when it cannot be read. Main thread
/// only.
void load_definitions(CentralState& state);

/// Returns whether a file has changed: it is seen, and its time is not the remembered one.
bool time_changed(const FileTime& now, const FileTime& remembered);

/// Returns whether the writer of a file may still be at it: in the two seconds after the second of
/// its last change.
bool just_written(std::int64_t written_seconds, std::int64_t now_seconds);

/// Makes one pass: 250 ms and what the files cause. Main thread only.
void supervise_once(CentralState& state, Supervision& memory);

}  // namespace kovo
