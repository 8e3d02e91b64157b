// The supervision loop of the main thread: uptime, the end of the power-on period, three files.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "daemon/state/definition_file.h"

namespace kovo {

struct CentralState;

/// A modification time in seconds and nanoseconds since the epoch; none if `stat` fails.
using FileTime = std::optional<std::pair<std::int64_t, long>>;

/// What the loop remembers from pass to pass.
struct Supervision {
  std::int64_t start_time = 0;  // seconds since the epoch, when the loop begins
  std::int64_t last_second = 0;
  FileTime definition_time;
  FileTime fresh_definition_time;  // of a file that is to be read once more, see load_definitions
  FileTime sync_time;
  FileTime snapshot_time;
};

/// Reads and compiles the definition file. If it cannot be read, the old events stay. A file
/// whose time has no fraction and is less than two seconds old may be written again without a
/// change of its time: `memory` then remembers to read it once more.
void load_definitions(CentralState& state, Supervision& memory, ReadReason reason);

/// Makes one pass: 250 ms, and up to 1.2 s more while the marker or the snapshot is new.
void supervise_once(CentralState& state, Supervision& memory);

}  // namespace kovo
