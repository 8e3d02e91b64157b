// Finds where the records of the main log, which have no times, belong in the event log.
//
// Some events of the daemon leave a record in both logs: the anchors. The records of one kind of
// anchor are written by one thread, so they have the same order in both logs. Each kind is aligned
// by itself; every other record of the main log lies between the anchors next to it.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "check/log_records.h"

namespace kovo::check {

constexpr std::size_t kAnchorKinds = 7;

/// A record of the event log that has a counterpart in the main log.
struct Anchor {
  std::uint64_t record;  // position in the event log, counted from 0
  LogTime time;
  std::size_t hash;  // of its text
  bool is_first;     // written before its counterpart, not after it
};

/// A start of the daemon, or a missing part of the event log.
struct Break {
  std::uint64_t record;  // the first record after it
  LogTime last;          // of the record before it
  LogTime time;
  bool is_gap;
};

/// What a first reading of the event log finds.
struct LogIndex {
  std::array<std::deque<Anchor>, kAnchorKinds> anchors;  // the last ones of each kind
  std::vector<Break> breaks;
  std::vector<std::uint64_t> steps_back;  // records before which the clock was set back
  std::uint64_t records = 0;
  bool is_after_gap = false;
  LogTime last = 0;  // of the last record
};

/// Adds the next record of the event log. `embedded` is the number of lines in it that look like
/// records.
void index_record(LogIndex& index, const EventRecord& record, std::size_t embedded = 0);

/// Notes that records are missing before the next one.
void index_gap(LogIndex& index);

/// A record of the main log, the nearest anchors around it, and whether the timeline shows it.
struct PlacedRecord {
  const MainRecord* record = nullptr;
  std::optional<Anchor> after;   // the record comes after this anchor
  std::optional<Anchor> before;  // and before this one
  bool is_taken = false;         // it belongs to a block
  bool is_explained = false;     // it may belong to a block
};

struct PlacedLog {
  std::vector<PlacedRecord> records;
  std::optional<Anchor> first;  // the first anchor that both logs have
  std::optional<Anchor> last;   // the last one
  std::optional<Anchor> end;    // the first one after it, which the main log lacks
};

/// Places the records of the main log, which must outlive the result.
PlacedLog place_records(const LogIndex& index, const MainLog& log);

}  // namespace kovo::check
