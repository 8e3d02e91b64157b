// Finds out when the records of the main log, which have no times, were written.
//
// Some records are in both logs. The main log seldom reaches as far back as the event log, and may
// end before it or after it. So they are paired by a diff with the part of the event log that is
// most similar to it. A record that the main log lost moves no other: where equal records allow
// several pairings, a record has the earliest and the latest of their times.
#pragma once

#include <vector>

#include "check/log/records.h"

namespace kovo::check {

/// When a record of the main log was written, as LogRecord::elapsed.
struct Span {
  LogTime earliest = 0;
  LogTime latest = 0;
  std::size_t next = 0;    // the first record of the event log that is certainly not before it
  std::size_t starts = 0;  // of the daemon before it, as Pairing::starts
};

struct Pairing {
  std::vector<Span> spans;          // by record of the main log
  std::vector<std::size_t> starts;  // records of the event log that both logs have
  bool has_pairs = false;
  std::size_t last = SIZE_MAX;  // the event log has what the main log has up to this record
  LogTime since = 0;            // the main log holds what was logged from here
  LogTime until = 0;            // up to here
};

Pairing pair_logs(const LogRecords& events, const LogRecords& main_log);

}  // namespace kovo::check
