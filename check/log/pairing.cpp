#include "check/log/pairing.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <unordered_map>

#include "check/log/lcs.h"
#include "core/text.h"
#include "core/trigger_text.h"

namespace kovo::check {
namespace {

constexpr LogTime kSlackMs = 300;         // between the two records of one happening
constexpr LogTime kPollMs = 1000;         // until the queue worker takes a text, with some load
constexpr LogTime kSlowPushMs = 1500;     // a push that waited for the status service takes longer,
constexpr LogTime kSlowestPushMs = 4000;  // and at most this, a name
constexpr LogTime kBusyMs = 240;          // the queue worker pauses longer when nothing waits
constexpr std::size_t kMostBusy = 1000;   // records without a pause, which bounds the time
constexpr LogTime kLockMs = 6000;         // that a test waits for the pushes before it

using Keys = std::unordered_map<std::string, std::uint32_t>;

/// A record that both logs may have.
struct Anchor {
  std::size_t record;
  std::uint32_t key;
};
using Anchors = std::vector<Anchor>;

/// Removes the last text of tcp:2700 with a key that was dropped: the event log lacks it.
void remove_dropped(Anchors& anchors, const LogRecords& records, std::string_view key) {
  const auto dropped = std::find_if(anchors.rbegin(), anchors.rend(), [&](const Anchor& anchor) {
    const LogRecord& record = records[anchor.record];
    return record.kind == RecordKind::kCommand && record.name == key;
  });
  if (dropped != anchors.rend()) anchors.erase(std::next(dropped).base());
}

Anchors anchors_of(const LogRecords& records, Keys& keys) {
  Anchors anchors;
  for (std::size_t at = 0; at < records.size(); ++at) {
    const LogRecord& record = records[at];
    const RecordKind kind = record.kind;
    if (kind == RecordKind::kDisabled) remove_dropped(anchors, records, record.name);
    const bool is_text = kind == RecordKind::kCommand;
    if (!is_in_both(kind) || (is_text && is_command(record.name))) continue;
    std::string text(1, static_cast<char>(kind));
    if (kind != RecordKind::kPeriodSkip) text.append(strip_newline(record.name));
    if (is_text) text.append("=").append(record.value);
    anchors.push_back({at, keys.emplace(text, keys.size()).first->second});
  }
  return anchors;
}

/// Returns the starts of the daemon and either the texts of tcp:2700 or all others. The texts are a
/// sequence of their own: one thread receives them, another one logs them later.
Anchors sequence_of(const Anchors& anchors, const LogRecords& records, bool texts) {
  Anchors sequence;
  for (const Anchor& anchor : anchors) {
    const RecordKind kind = records[anchor.record].kind;
    if (kind == RecordKind::kStart || (kind == RecordKind::kCommand) == texts) {
      sequence.push_back(anchor);
    }
  }
  return sequence;
}

Sequence keys_of(const Anchors& anchors) {
  Sequence keys;
  for (const Anchor& anchor : anchors) keys.push_back(anchor.key);
  return keys;
}

/// Equal records of both logs, and those around them that may be meant instead.
struct Pair {
  std::size_t main;
  std::size_t main_first;
  std::size_t main_last;
  std::size_t first;
  std::size_t last;
};

/// Pairs anchors, and moves each pair as far back and forth as equal records allow.
std::vector<Pair> pairs_of(const Anchors& events, const Anchors& main_log) {
  const Sequence keys = keys_of(main_log);
  const std::vector<CommonPair> common = common_subsequence(keys, keys_of(events));
  std::vector<Pair> pairs;
  std::size_t event = 0;
  std::size_t main = 0;
  for (const CommonPair& pair : common) {
    const std::uint32_t key = keys[pair.a];
    while (events[event].key != key) ++event;
    while (keys[main] != key) ++main;
    pairs.push_back(
        {main_log[pair.a].record, main_log[main++].record, 0, events[event++].record, 0});
  }
  event = events.size();
  main = keys.size();
  for (std::size_t at = pairs.size(); at-- > 0;) {
    do --event;
    while (events[event].key != keys[common[at].a]);
    do --main;
    while (keys[main] != keys[common[at].a]);
    pairs[at].last = events[event].record;
    pairs[at].main_last = main_log[main].record;
  }
  return pairs;
}

bool is_push(RecordKind kind) {
  return kind == RecordKind::kPush || kind == RecordKind::kTestPush;
}

/// Returns when a text of tcp:2700 in the event log was received, at the earliest. Texts wait while
/// a push waits for the status service, so goes back through what the daemon did without a pause.
LogTime received_at(const LogRecords& events, std::size_t record) {
  LogTime next = events[record].elapsed;
  LogTime at = next;
  for (std::size_t before = record; before-- > 0 && record - before < kMostBusy;) {
    const LogRecord& earlier = events[before];
    const bool is_done = is_step(earlier.kind) || earlier.kind == RecordKind::kCommand;
    if (!is_done && !is_push(earlier.kind)) continue;
    const LogTime pause = next - earlier.elapsed;
    const auto names = std::count(earlier.name.begin(), earlier.name.end(), '\n') + 1;
    const bool is_slow =
        is_push(earlier.kind) && pause >= kSlowPushMs && pause <= names * kSlowestPushMs;
    if (!is_slow && pause > kBusyMs) break;
    next = earlier.elapsed;
    if (is_slow) at = next;
  }
  return at - kPollMs;
}

/// Returns when the earlier record of a pair was written, at the earliest.
LogTime earliest_of(const LogRecords& events, std::size_t at) {
  const LogRecord& event = events[at];
  if (event.kind == RecordKind::kStart && at > 0)
    return events[at - 1].elapsed;  // the daemon before
  if (event.kind == RecordKind::kCommand) return received_at(events, at);
  return event.elapsed - (event.kind == RecordKind::kTestPush ? kLockMs : kSlackMs);
}

/// Counts the starts of the daemon that are paired for certain.
void count_starts(const LogRecords& events, const std::vector<Pair>& pairs, Pairing& pairing) {
  for (const Pair& pair : pairs) {
    if (events[pair.first].kind != RecordKind::kStart || pair.first != pair.last) continue;
    if (pair.main_first != pair.main_last) continue;
    pairing.starts.push_back(pair.first);
    for (std::size_t at = pair.main; at < pairing.spans.size(); ++at) ++pairing.spans[at].starts;
  }
}

/// Sets the times of all records of the main log by those of the pairs around them.
void set_spans(const LogRecords& events, const std::vector<Pair>& pairs, Pairing& pairing) {
  for (Span& span : pairing.spans) span = {INT64_MIN, INT64_MAX, events.size(), span.starts};
  for (const Pair& pair : pairs) {
    Span& before = pairing.spans[pair.main_last];
    before.earliest = std::max(before.earliest, earliest_of(events, pair.first));
    Span& after = pairing.spans[pair.main_first];
    after.latest = std::min(after.latest, events[pair.last].elapsed + kSlackMs);
    after.next = std::min(after.next, pair.last);
  }
  LogTime earliest = events.front().elapsed - kPollMs;
  for (Span& span : pairing.spans) span.earliest = earliest = std::max(earliest, span.earliest);
  Span after{0, INT64_MAX, events.size()};
  for (auto span = pairing.spans.rbegin(); span != pairing.spans.rend(); ++span) {
    after.latest = std::min(after.latest, span->latest);
    after.next = span->next = std::min(after.next, span->next);
    span->latest = std::max(after.latest, span->earliest);
  }
}

/// Removes what is outside of a window, which is widened first: it may lack as many records at its
/// ends as it has differences.
void trim(Anchors& anchors, const Window& window) {
  anchors.resize(std::min(anchors.size(), window.end + window.differences));
  const auto first = window.first - std::min(window.first, window.differences);
  anchors.erase(anchors.begin(), anchors.begin() + static_cast<std::ptrdiff_t>(first));
}

}  // namespace

Pairing pair_logs(const LogRecords& events, const LogRecords& main_log) {
  Pairing pairing;
  pairing.spans.resize(main_log.size());
  Keys keys;
  Anchors of_main = anchors_of(main_log, keys);
  Anchors of_events = anchors_of(events, keys);
  if (of_main.empty() || of_events.empty()) return pairing;
  const std::size_t last_of_main = of_main.back().record;
  const std::size_t last_of_events = of_events.back().record;
  const bool is_main_longer = of_main.size() > of_events.size();
  Anchors& longer = is_main_longer ? of_main : of_events;
  trim(longer, most_similar(keys_of(is_main_longer ? of_events : of_main), keys_of(longer)));
  const auto pairs_among = [&](bool texts) {
    return pairs_of(sequence_of(of_events, events, texts), sequence_of(of_main, main_log, texts));
  };
  const std::vector<Pair> texts = pairs_among(true);
  const std::vector<Pair> others = pairs_among(false);
  std::vector<Pair> pairs;
  std::merge(texts.begin(), texts.end(), others.begin(), others.end(), std::back_inserter(pairs),
             [](const Pair& a, const Pair& b) { return a.main < b.main; });
  if (pairs.empty()) return pairing;
  pairing.has_pairs = true;
  count_starts(events, others, pairing);
  set_spans(events, pairs, pairing);
  pairing.since = events[pairs.front().last].elapsed;
  std::size_t last_paired = 0;
  for (const Pair& pair : pairs) last_paired = std::max(last_paired, pair.first);
  pairing.until =
      last_of_events > last_paired ? earliest_of(events, last_paired) : events.back().elapsed;
  if (last_of_main > pairs.back().main_first) pairing.last = pairs.back().main_first;
  return pairing;
}

}  // namespace kovo::check
