#include "check/log/pairing.h"

#include <algorithm>
#include <string>
#include <unordered_map>

#include "check/lcs.h"
#include "core/event_rules.h"

namespace kovo::check {
namespace {

constexpr LogTime kSlackMs = 300;         // between the two records of one happening
constexpr LogTime kPollMs = 1000;         // until the queue worker takes a text, with some load
constexpr LogTime kSlowPushMs = 1500;     // a push that waited for the status service takes longer,
constexpr LogTime kSlowestPushMs = 4000;  // and at most this
constexpr LogTime kBusyMs = 240;          // the queue worker pauses longer when nothing waits
constexpr std::size_t kMostBusy = 1000;   // records without a pause, which bounds the time
constexpr LogTime kLockMs = 6000;         // that a test waits for the pushes before it
constexpr std::size_t kHoleRecords = 3;   // missing one after another: the disk was full

/// A record that both logs may have.
struct Anchor {
  std::size_t record;
  std::uint32_t key;
};

/// The records of one log in the order in which the other log has them too. The texts of tcp:2700
/// are a sequence of their own: one thread receives them, another one logs them later.
struct Anchors {
  std::vector<Anchor> commands;
  std::vector<Anchor> others;
};

using Keys = std::unordered_map<std::string, std::uint32_t>;

std::uint32_t key_of(Keys& keys, char kind, std::string_view name, std::string_view value = {}) {
  std::string text(1, kind);
  text.append(name).append("\n").append(value);
  return keys.emplace(std::move(text), static_cast<std::uint32_t>(keys.size())).first->second;
}

Anchors anchors_of(const EventLog& log, Keys& keys) {
  Anchors anchors;
  for (std::size_t at = 0; at < log.records.size(); ++at) {
    const EventRecord& record = log.records[at];
    const auto add = [&](char kind, std::string_view name) {
      anchors.others.push_back({at, key_of(keys, kind, name)});
    };
    if (record.kind == EventLine::kStart) {
      add('b', {});
      anchors.commands.push_back(anchors.others.back());
    }
    if (record.kind == EventLine::kCommand) {
      anchors.commands.push_back({at, key_of(keys, 'c', record.name, record.value)});
    }
    if (record.kind == EventLine::kStatusLine) add('s', strip_newline(record.name));
    if (record.kind == EventLine::kVariable) add('v', record.name);
    if (record.kind == EventLine::kStatusSkip) add('k', record.name);
    if (record.kind == EventLine::kTestPush) add('t', record.name);
    if (record.kind == EventLine::kPeriodSkip) add('p', {});
  }
  return anchors;
}

/// Removes the last text of tcp:2700 with a key that was dropped: the event log lacks it.
void remove_dropped(std::vector<Anchor>& commands, const MainLog& log, std::string_view key) {
  const auto dropped = std::find_if(commands.rbegin(), commands.rend(), [&](const Anchor& anchor) {
    const MainRecord& record = log.records[anchor.record];
    return record.kind == MainLine::kCommand && split_command_line(record.name).key == key;
  });
  if (dropped != commands.rend()) commands.erase(std::next(dropped).base());
}

Anchors anchors_of(const MainLog& log, Keys& keys) {
  Anchors anchors;
  for (std::size_t at = 0; at < log.records.size(); ++at) {
    const MainRecord& record = log.records[at];
    const auto add = [&](char kind, std::string_view name) {
      anchors.others.push_back({at, key_of(keys, kind, name)});
    };
    if (record.kind == MainLine::kBanner) {
      add('b', {});
      anchors.commands.push_back(anchors.others.back());
    }
    if (record.kind == MainLine::kCommand) {
      const KeyValue pair = split_command_line(record.name);
      if (!is_command(pair.key)) {
        anchors.commands.push_back({at, key_of(keys, 'c', pair.key, pair.value)});
      }
    }
    if (record.kind == MainLine::kDisabled) remove_dropped(anchors.commands, log, record.name);
    if (record.kind == MainLine::kStatusLine) add('s', strip_newline(record.name));
    if (record.kind == MainLine::kVariable) add('v', record.name);
    if (record.kind == MainLine::kStatusSkip) add('k', record.name);
    if (record.kind == MainLine::kTestPush) add('t', record.name);
    if (record.kind == MainLine::kPeriodSkip) add('p', {});
  }
  return anchors;
}

/// A record of the main log and the records of the event log that it may be.
struct Pair {
  std::size_t main;
  std::size_t first;
  std::size_t last;
};

Sequence keys_of(const std::vector<Anchor>& anchors, std::size_t from) {
  Sequence keys;
  for (std::size_t at = from; at < anchors.size(); ++at) keys.push_back(anchors[at].key);
  return keys;
}

/// Returns where in the anchors of the event log those of the main log begin.
std::size_t start_of(const std::vector<Anchor>& events, const std::vector<Anchor>& main_log) {
  Sequence a = keys_of(main_log, 0);
  Sequence b = keys_of(events, 0);
  std::reverse(a.begin(), a.end());
  std::reverse(b.begin(), b.end());
  return events.size() - used_prefix(a, b);
}

/// Pairs anchors, and moves each pair as far back and forth as equal records allow.
std::vector<Pair> pairs_of(const std::vector<Anchor>& events, const std::vector<Anchor>& main_log) {
  const std::size_t start = start_of(events, main_log);
  const std::vector<CommonPair> common =
      common_subsequence(keys_of(main_log, 0), keys_of(events, start));
  std::vector<Pair> pairs;
  std::size_t at = start;
  for (const CommonPair& pair : common) {
    while (events[at].key != main_log[pair.a].key) ++at;
    pairs.push_back({main_log[pair.a].record, events[at++].record, 0});
  }
  at = events.size();
  for (std::size_t pair = common.size(); pair-- > 0;) {
    do --at;
    while (events[at].key != main_log[common[pair].a].key);
    pairs[pair].last = events[at].record;
  }
  return pairs;
}

bool holds_lock(EventLine kind) {
  return is_step(kind) || kind == EventLine::kPush || kind == EventLine::kTestPush ||
         kind == EventLine::kCommand;
}

/// Returns when a text of tcp:2700 in the event log was received, at the earliest. Texts wait while
/// a push waits for the status service, so goes back through what the daemon did without a pause.
LogTime received_at(const EventLog& log, std::size_t record) {
  LogTime next = log.records[record].elapsed;
  LogTime at = next;
  for (std::size_t before = record; before-- > 0 && record - before < kMostBusy;) {
    const EventRecord& earlier = log.records[before];
    if (!holds_lock(earlier.kind)) continue;
    const LogTime pause = next - earlier.elapsed;
    const bool is_push = earlier.kind == EventLine::kPush || earlier.kind == EventLine::kTestPush;
    const auto names = std::count(earlier.name.begin(), earlier.name.end(), '\n') + 1;
    const bool is_slow = is_push && pause >= kSlowPushMs && pause <= names * kSlowestPushMs;
    if (!is_slow && pause > kBusyMs) break;
    next = earlier.elapsed;
    if (is_slow) at = next;
  }
  return at - kPollMs;
}

/// Returns when the earlier record of a pair was written, at the earliest.
LogTime earliest_of(const EventLog& log, std::size_t record) {
  const EventRecord& event = log.records[record];
  switch (event.kind) {
    case EventLine::kStart:  // the end of the daemon before
      return record == 0 ? event.elapsed - kPollMs : log.records[record - 1].elapsed;
    case EventLine::kCommand:
      return received_at(log, record);
    case EventLine::kTestPush:
      return event.elapsed - kLockMs;
    default:
      return event.elapsed - kSlackMs;
  }
}

void count_lives(const EventLog& events, const std::vector<Pair>& pairs, Pairing& pairing) {
  pairing.lives.assign(events.records.size() + 1, 0);
  for (const Pair& pair : pairs) {
    if (events.records[pair.first].kind != EventLine::kStart || pair.first != pair.last) continue;
    ++pairing.lives[pair.first];
    ++pairing.spans[pair.main].life;
  }
  for (std::size_t at = 1; at < pairing.lives.size(); ++at) {
    pairing.lives[at] += pairing.lives[at - 1];
  }
  for (std::size_t at = 1; at < pairing.spans.size(); ++at) {
    pairing.spans[at].life += pairing.spans[at - 1].life;
  }
}

/// Sets the times of all records of the main log by those of the pairs around them.
void set_spans(const EventLog& events, const std::vector<Pair>& pairs, Pairing& pairing) {
  for (const Pair& pair : pairs) {
    Span& span = pairing.spans[pair.main];
    span.earliest = earliest_of(events, pair.first);
    span.latest = events.records[pair.last].elapsed + kSlackMs;
    span.next = pair.last;
  }
  LogTime earliest = events.records.front().elapsed - kPollMs;
  for (Span& span : pairing.spans) {
    earliest = std::max(earliest, span.earliest);
    span.earliest = earliest;
  }
  LogTime latest = INT64_MAX;
  std::size_t next = events.records.size();
  for (std::size_t at = pairing.spans.size(); at-- > 0;) {
    Span& span = pairing.spans[at];
    latest = span.latest == 0 ? latest : std::min(latest, span.latest);
    next = span.latest == 0 ? next : std::min(next, span.next);
    span.latest = std::max(latest, span.earliest);
    span.next = next;
  }
}

/// Marks the records before the first and after the last pair if the event log lacks records there.
void set_bounds(const std::vector<Anchor>& anchors, const std::vector<Pair>& pairs,
                Pairing& pairing) {
  if (anchors.empty()) return;
  const std::size_t first = pairs.front().main;
  const std::size_t last = pairs.back().main;
  for (std::size_t at = 0; anchors.front().record < first && at < first; ++at) {
    pairing.spans[at].is_bounded = false;
  }
  if (anchors.back().record <= last) return;
  for (std::size_t at = last; at < pairing.spans.size(); ++at) pairing.spans[at].is_bounded = false;
}

/// Adds the times between two pairs of one sequence where the main log lacks several records.
void add_holes(const EventLog& events, const std::vector<Anchor>& anchors,
               const std::vector<Pair>& pairs, std::vector<Hole>& holes) {
  auto anchor = anchors.begin();
  LogTime from = INT64_MIN;
  for (const Pair& pair : pairs) {
    const LogTime to = events.records[pair.last].elapsed;
    std::size_t missing = 0;
    for (; anchor != anchors.end() && anchor->record < pair.last; ++anchor) ++missing;
    if (anchor != anchors.end()) ++anchor;
    if (missing >= kHoleRecords && from != INT64_MIN) holes.push_back({from, to});
    from = events.records[pair.first].elapsed;
  }
}

/// Returns the time of the first record that the end of the main log lacks; INT64_MAX if none.
LogTime first_missing(const EventLog& events, const std::vector<Anchor>& anchors,
                      const std::vector<Pair>& pairs) {
  for (const Anchor& anchor : anchors) {
    if (!pairs.empty() && anchor.record <= pairs.back().first) continue;
    return earliest_of(events, anchor.record);
  }
  return INT64_MAX;
}

}  // namespace

Pairing pair_logs(const EventLog& events, const MainLog& main_log) {
  Pairing pairing;
  pairing.spans.resize(main_log.records.size());
  pairing.lives.assign(events.records.size() + 1, 0);
  if (events.records.empty()) return pairing;
  Keys keys;
  const Anchors of_events = anchors_of(events, keys);
  const Anchors of_main = anchors_of(main_log, keys);
  const std::vector<Pair> commands = pairs_of(of_events.commands, of_main.commands);
  const std::vector<Pair> others = pairs_of(of_events.others, of_main.others);
  count_lives(events, others, pairing);
  std::vector<Pair> pairs = commands;
  pairs.insert(pairs.end(), others.begin(), others.end());
  if (pairs.empty()) return pairing;
  std::sort(pairs.begin(), pairs.end(),
            [](const Pair& a, const Pair& b) { return a.main < b.main; });
  pairing.has_pairs = true;
  set_spans(events, pairs, pairing);
  set_bounds(of_main.commands, pairs, pairing);
  set_bounds(of_main.others, pairs, pairing);
  pairing.since = events.records[pairs.front().last].elapsed;
  pairing.until =
      std::min({events.records.back().elapsed, first_missing(events, of_events.commands, commands),
                first_missing(events, of_events.others, others)});
  add_holes(events, of_events.commands, commands, pairing.holes);
  add_holes(events, of_events.others, others, pairing.holes);
  return pairing;
}

}  // namespace kovo::check
