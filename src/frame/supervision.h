// The supervision loop: keeps the uptime, enables the display events once the power-on period is
// over, and watches three files.
#pragma once

#include <cstdint>

namespace kovo {

struct CentralState;

/// A modification time; not known before the first one is remembered.
struct FileTime {
  bool known = false;
  std::int64_t seconds = 0;
  long nanoseconds = 0;
};

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

/// True when a file now bears another time than the remembered one. A time that is not known counts
/// as unchanged, a first one as changed.
bool time_changed(const FileTime& now, const FileTime& remembered);

/// True while the writer of a file may still be at it: in the two seconds behind the second of its
/// last change.
bool just_written(const FileTime& written, std::int64_t now_seconds);

/// One pass, 250 ms and what the files cause. Main thread only.
void supervise_once(CentralState& state, Supervision& memory);

}  // namespace kovo
