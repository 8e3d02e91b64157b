// Aligning means to find one number for each kind of anchor: the shift, by which the position of an
// anchor in the event log exceeds that of its counterpart in the main log. If both logs have a
// common start of the daemon, all shifts follow from it. Otherwise each shift is searched near
// equal ends, since the main log is rotated and so holds the last records.
//
// Anchors are compared by hashes of their texts. A shift is accepted if at most a quarter of them
// differ, since a record that could not be written is missing in one log only; only equal ones are
// used. Invariant: if PlacedRecord::after and before are both there and no thread overtook another,
// the record was written between them.
#include "check/log_align.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include "core/text.h"

namespace kovo::check {
namespace {

constexpr std::size_t kMaxAnchors = 60000;  // two main logs, and some more
constexpr std::ptrdiff_t kMaxShift = 2000;  // by which the ends of the two logs may differ

struct AnchorKind {
  EventLine event;
  MainLine main;
};
constexpr AnchorKind kKinds[kAnchorKinds] = {
    {EventLine::kStart, MainLine::kBanner},
    {EventLine::kVariable, MainLine::kVariable},
    {EventLine::kStatusLine, MainLine::kStatusLine},
    {EventLine::kStatusSkip, MainLine::kStatusSkip},
    {EventLine::kPush, MainLine::kTestPush},
    {EventLine::kPeriodSkip, MainLine::kPeriodSkip},
    {EventLine::kCommand, MainLine::kCommand},
};
constexpr std::size_t kStarts = 0;
constexpr std::size_t kCommands = kAnchorKinds - 1;

std::size_t hash_of(std::string_view text) {
  return std::hash<std::string_view>()(strip_newline(text));
}

/// A record of the main log that may have a counterpart in the event log.
struct Candidate {
  std::size_t record;  // position in the main log
  std::size_t hash;
};
using Candidates = std::array<std::vector<Candidate>, kAnchorKinds>;

/// Adds the names received on tcp:2700 that reach the event log: commands do not, nor do names that
/// are dropped while events are disabled. A dropped name is the last received one with that text.
void add_commands(const std::vector<MainRecord>& records, std::vector<Candidate>& candidates) {
  constexpr std::ptrdiff_t kMostWaiting = 1000;  // bounds the search to the last names
  for (std::size_t at = 0; at < records.size(); ++at) {
    const std::string_view text = truncated(strip_newline(records[at].name), kMaxCommand);
    if (records[at].kind == MainLine::kCommand && text.substr(0, 2) != "__") {
      candidates.push_back({at, hash_of(split_key_value(text).key)});
    }
    if (records[at].kind != MainLine::kDisabled) continue;
    const std::size_t dropped = hash_of(records[at].name);
    const std::ptrdiff_t waiting = candidates.rend() - candidates.rbegin();
    const auto end = candidates.rbegin() + std::min(waiting, kMostWaiting);
    const auto found = std::find_if(candidates.rbegin(), end,
                                    [&](const Candidate& other) { return other.hash == dropped; });
    if (found != end) candidates.erase(std::next(found).base());
  }
}

Candidates candidates_of(const std::vector<MainRecord>& records) {
  Candidates candidates;
  for (std::size_t at = 0; at < records.size(); ++at) {
    for (std::size_t kind = 0; kind < kCommands; ++kind) {
      if (records[at].kind != kKinds[kind].main) continue;
      candidates[kind].push_back({at, hash_of(records[at].name)});
    }
  }
  add_commands(records, candidates[kCommands]);
  return candidates;
}

/// The candidates of one kind that overlap with anchors under a shift.
struct Overlap {
  std::ptrdiff_t from;
  std::ptrdiff_t to;
};

Overlap overlap_of(const std::vector<Candidate>& main, const std::deque<Anchor>& events,
                   std::ptrdiff_t shift) {
  const auto main_size = static_cast<std::ptrdiff_t>(main.size());
  const auto event_size = static_cast<std::ptrdiff_t>(events.size());
  return {std::max<std::ptrdiff_t>(0, -shift), std::min(main_size, event_size - shift)};
}

/// Returns how many of the overlapping ones differ, at most one more than the limit.
std::ptrdiff_t differences(const std::vector<Candidate>& main, const std::deque<Anchor>& events,
                           std::ptrdiff_t shift, std::ptrdiff_t limit) {
  const Overlap overlap = overlap_of(main, events, shift);
  std::ptrdiff_t count = 0;
  for (std::ptrdiff_t at = overlap.from; at < overlap.to && count <= limit; ++at) {
    const auto event = static_cast<std::size_t>(at + shift);
    if (main[static_cast<std::size_t>(at)].hash != events[event].hash) ++count;
  }
  return count;
}

/// Returns the shift nearest to equal ends under which all are equal; else the best one under which
/// at most a quarter differs; nothing if there is none.
std::optional<std::ptrdiff_t> shift_by_end(const std::vector<Candidate>& main,
                                           const std::deque<Anchor>& events) {
  const auto main_size = static_cast<std::ptrdiff_t>(main.size());
  const auto event_size = static_cast<std::ptrdiff_t>(events.size());
  const std::ptrdiff_t smaller = std::min(main_size, event_size);
  std::ptrdiff_t best_count = smaller / 4;
  std::optional<std::ptrdiff_t> best;
  for (std::ptrdiff_t step = 0; step <= 2 * kMaxShift; ++step) {
    const std::ptrdiff_t distance = step % 2 == 0 ? step / 2 : -(step + 1) / 2;
    const std::ptrdiff_t shift = event_size - main_size + distance;
    const Overlap overlap = overlap_of(main, events, shift);
    if (overlap.to <= overlap.from || 2 * (overlap.to - overlap.from) < smaller) continue;
    const std::ptrdiff_t count = differences(main, events, shift, best_count);
    if (count > best_count || (best && count == best_count)) continue;
    best = shift;
    best_count = count;
    if (count == 0) break;
  }
  return best;
}

/// The record of a start of the daemon in each log: the next anchors of every kind are the same.
struct CommonStart {
  std::size_t main;
  std::uint64_t event;
};

std::ptrdiff_t shift_by_start(const std::vector<Candidate>& main, const std::deque<Anchor>& events,
                              const CommonStart& start) {
  const auto precedes = [](const auto& one, auto record) { return one.record < record; };
  const auto main_at = std::lower_bound(main.begin(), main.end(), start.main, precedes);
  const auto event_at = std::lower_bound(events.begin(), events.end(), start.event, precedes);
  return (event_at - events.begin()) - (main_at - main.begin());
}

/// Returns how many anchors are equal if a start is the same in both logs, minus four for each one
/// that differs.
std::ptrdiff_t agreement(const LogIndex& index, const Candidates& candidates,
                         const CommonStart& start) {
  std::ptrdiff_t result = 0;
  for (std::size_t kind = 0; kind < kAnchorKinds; ++kind) {
    const std::ptrdiff_t shift = shift_by_start(candidates[kind], index.anchors[kind], start);
    const Overlap overlap = overlap_of(candidates[kind], index.anchors[kind], shift);
    const std::ptrdiff_t size = overlap.to - overlap.from;
    if (size <= 0) continue;
    result += size - 5 * differences(candidates[kind], index.anchors[kind], shift, size);
  }
  return result;
}

/// Finds the last start that is in both logs: either of them may lack the last ones.
std::optional<CommonStart> find_common_start(const LogIndex& index, const Candidates& candidates) {
  constexpr std::size_t kMostMissing = 8;
  const std::vector<Candidate>& banners = candidates[kStarts];
  const std::deque<Anchor>& starts = index.anchors[kStarts];
  std::optional<CommonStart> best;
  std::ptrdiff_t best_agreement = 0;
  for (std::size_t missing = 0; missing < 2 * kMostMissing; ++missing) {
    const std::size_t main_missing = missing % 2 == 0 ? missing / 2 : 0;
    const std::size_t event_missing = missing % 2 == 0 ? 0 : (missing + 1) / 2;
    if (main_missing >= banners.size() || event_missing >= starts.size()) continue;
    const CommonStart start{banners[banners.size() - 1 - main_missing].record,
                            starts[starts.size() - 1 - event_missing].record};
    const std::ptrdiff_t agrees = agreement(index, candidates, start);
    if (agrees <= best_agreement) continue;
    best = start;
    best_agreement = agrees;
  }
  return best;
}

std::optional<std::ptrdiff_t> find_shift(const std::vector<Candidate>& main,
                                         const std::deque<Anchor>& events,
                                         const std::optional<CommonStart>& start) {
  if (main.empty() || events.empty()) return {};
  if (!start) return shift_by_end(main, events);
  const std::ptrdiff_t shift = shift_by_start(main, events, *start);
  const Overlap overlap = overlap_of(main, events, shift);
  if (overlap.to <= overlap.from) return {};
  const std::ptrdiff_t most = (overlap.to - overlap.from) / 4;
  if (differences(main, events, shift, most) <= most) return shift;
  return shift_by_end(main, events);
}

/// Finds the counterparts of one kind of anchor, by their position in the main log; returns the
/// first anchor after them.
std::optional<Anchor> match_kind(const std::vector<Candidate>& main,
                                 const std::deque<Anchor>& events,
                                 const std::optional<CommonStart>& start,
                                 std::vector<std::optional<Anchor>>& matched) {
  const std::optional<std::ptrdiff_t> shift = find_shift(main, events, start);
  if (!shift) return {};
  const Overlap overlap = overlap_of(main, events, *shift);
  for (std::ptrdiff_t at = overlap.from; at < overlap.to; ++at) {
    const Candidate& candidate = main[static_cast<std::size_t>(at)];
    const Anchor& anchor = events[static_cast<std::size_t>(at + *shift)];
    if (candidate.hash == anchor.hash) matched[candidate.record] = anchor;
  }
  const auto next = static_cast<std::size_t>(overlap.to + *shift);
  if (next >= events.size()) return {};
  return events[next];
}

bool is_earlier(const std::optional<Anchor>& a, const std::optional<Anchor>& b) {
  return a && (!b || a->record < b->record);
}

/// Finds the anchors around each record. Threads overtake each other, so their order differs a
/// little between the logs: `after` is the last one of all that come before, `before` the first one
/// of all that come after.
void place_between(const std::vector<std::optional<Anchor>>& matched, PlacedLog& placed) {
  std::optional<Anchor> nearest;
  for (std::size_t at = 0; at < matched.size(); ++at) {
    if (matched[at] && (!nearest || nearest->record < matched[at]->record)) nearest = matched[at];
    placed.records[at].after = nearest;
  }
  nearest.reset();
  for (std::size_t at = matched.size(); at-- > 0;) {
    placed.records[at].before = nearest;
    if (matched[at] && (!nearest || nearest->record > matched[at]->record)) nearest = matched[at];
  }
}

}  // namespace

void index_record(LogIndex& index, const EventRecord& record, std::size_t embedded) {
  const EventLineParts line = parse_event_line(record.text);
  if (index.records > 0 && record.time < index.last) index.steps_back.push_back(index.records);
  if (line.kind == EventLine::kStart || index.is_after_gap) {
    const LogTime last = index.records == 0 ? record.time : index.last;
    index.breaks.push_back({index.records, last, record.time, index.is_after_gap});
  }
  index.is_after_gap = false;
  const bool is_other_push = line.kind == EventLine::kPush && line.number == 0;
  for (std::size_t kind = 0; kind < kAnchorKinds && !is_other_push; ++kind) {
    if (line.kind != kKinds[kind].event) continue;
    const bool is_first = line.kind == EventLine::kVariable;
    index.anchors[kind].push_back({index.records, record.time, hash_of(line.name), is_first});
    if (index.anchors[kind].size() > kMaxAnchors) index.anchors[kind].pop_front();
  }
  index.last = record.time;
  index.records += 1 + embedded;
}

void index_gap(LogIndex& index) {
  index.is_after_gap = index.records > 0;
}

PlacedLog place_records(const LogIndex& index, const MainLog& log) {
  PlacedLog placed;
  placed.records.resize(log.records.size());
  std::vector<std::optional<Anchor>> matched(log.records.size());
  const Candidates candidates = candidates_of(log.records);
  const std::optional<CommonStart> start = find_common_start(index, candidates);
  for (std::size_t kind = 0; kind < kAnchorKinds; ++kind) {
    const std::optional<Anchor> end =
        match_kind(candidates[kind], index.anchors[kind], start, matched);
    if (is_earlier(end, placed.end)) placed.end = end;
  }
  std::optional<Anchor>& last = placed.last;
  for (std::size_t at = 0; at < log.records.size(); ++at) {
    placed.records[at].record = &log.records[at];
    if (is_earlier(matched[at], placed.first)) placed.first = matched[at];
    if (matched[at] && (!last || last->record < matched[at]->record)) last = matched[at];
  }
  for (const std::deque<Anchor>& anchors : index.anchors) {
    // A kind of which the main log has none may still have anchors after the last common one.
    const auto later = std::find_if(anchors.begin(), anchors.end(), [&](const Anchor& anchor) {
      return last && anchor.record > last->record;
    });
    if (later != anchors.end() && is_earlier(*later, placed.end)) placed.end = *later;
  }
  place_between(matched, placed);
  return placed;
}

}  // namespace kovo::check
