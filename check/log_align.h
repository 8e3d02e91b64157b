// Where the records of the main log, which have no times, belong among those of the event log.
//
// Some happenings leave a record in both logs. Those of one kind are written by one thread, so that
// they come in the same order in both; the main log holds the last of them. Their last ones are
// laid upon each other, and what is only in the main log stands between its neighbours.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "check/log_records.h"

namespace kovo::check {

constexpr std::size_t kAnchorKinds = 7;

/// A record of the event log that has its like in the main log.
struct Anchor {
  std::uint64_t record;  // of the event log, counted from 0
  LogTime time;
  std::size_t hash;  // of its text
  bool is_first;     // written before its like in the main log, not after it
};

/// A start of the daemon, or a part of the event log that is missing.
struct Break {
  std::uint64_t record;  // the first one after it
  LogTime last;          // of the record before it
  LogTime time;
  bool is_gap;
};

/// What is known of a whole event log before it is read again.
struct LogIndex {
  std::array<std::deque<Anchor>, kAnchorKinds> anchors;  // the last of each kind
  std::vector<Break> breaks;
  std::vector<std::uint64_t> steps_back;  // records before which the clock was set back
  std::uint64_t records = 0;
  bool is_after_gap = false;
  LogTime first = 0;
  LogTime last = 0;
};

/// Takes the next record of the event log, and how many lines that look like records are part of
/// it.
void index_record(LogIndex& index, const EventRecord& record, std::size_t embedded = 0);

/// Notes that records are missing before the next one.
void index_gap(LogIndex& index);

/// A record of the main log and its neighbours in both logs.
struct PlacedRecord {
  const MainRecord* record = nullptr;
  std::optional<Anchor> after;   // the nearest before it
  std::optional<Anchor> before;  // the nearest after it
  bool is_taken = false;         // it is that of a block
  bool is_explained = false;     // it may be that of a block
};

struct PlacedLog {
  std::vector<PlacedRecord> records;
  std::optional<Anchor> first;  // the first one that is in both logs, if any is
  std::optional<Anchor> last;   // and the last one
  std::optional<Anchor> end;    // the first one after it that the main log lacks
};

/// Places the records of the main log, which must outlive the result.
PlacedLog place_records(const LogIndex& index, const MainLog& log);

}  // namespace kovo::check
