// What the sources of the timeline share.
#pragma once

#include <string>
#include <string_view>

#include "check/log_timeline.h"
#include "check/words.h"
#include "engine/event_rules.h"

namespace kovo::check {

constexpr LogTime kLifeMs = kEventLifeNs / 1'000'000;
constexpr LogTime kLookupMs = 5000;  // of one name: the status service, and the mirror line
constexpr LogTime kSendMs = 4000;    // to connect and to send
constexpr LogTime kSkewMs = 10'000;  // by which the two records of an anchor may differ

// Blocks (log_timeline.cpp).

/// Adds a block at the time of the last record.
TimelineBlock& add_block(Timeline& timeline);

/// Gives a block its verdict.
void settle(TimelineBlock& block, BlockVerdict verdict, std::string text, bool failed);

/// Adds a block with its verdict.
void add_settled(Timeline& timeline, std::string_view trigger, std::string source,
                 BlockVerdict verdict, std::string text, bool failed);

// Steps (log_verdicts.cpp).

/// Returns the key of an error's target; a step that sends the status has no known payload.
std::string target_key(std::string_view address, std::int64_t port, const std::string* payload);

/// Judges a step by its line, the end of the daemon and what the main log covers; its error is
/// found later, when equal steps are known.
void judge_step(Timeline& timeline, const ExecutedLine& line, const TimelineBlock& block,
                TimelineStep& step);

/// Finds the errors of a block's steps.
void close_steps(Timeline& timeline, TimelineBlock& block);

/// Returns the words of an error.
std::string reason_of(const MainRecord& error);

// Executions (log_executions.cpp).

bool is_step_line(EventLine kind);

/// Returns whether a step left a line. A payload that is sent may end as the line of a disabled
/// step does: the pattern decides.
bool fits_line(const StepPattern& pattern, ExecutedLine& line);

/// Returns "address:port protocol " of a line of a step.
std::string head_of(std::string_view step);

/// Takes the line of a step.
void on_step(Timeline& timeline, ExecutedLine line);

/// Ends the execution whose lines are being read.
void close_execution(Timeline& timeline);

void remove_queued(Timeline& timeline, const TimelineBlock* block);

// Pushes (log_pushes.cpp).

/// Notes why a name will be pushed.
void add_source(Timeline& timeline, std::string name, std::string text);

/// Returns which variables raise a name, by the daemon's own tables.
std::string variable_source(std::string_view name);

void on_push(Timeline& timeline, const EventLineParts& parts);

/// Takes the push of "PowerOn" at the first start after boot.
void push_power_on(Timeline& timeline);

void on_power_on_skip(Timeline& timeline);

void on_start(Timeline& timeline);

/// Settles a queued event whose expiry is in the main log. Returns whether it is.
bool settle_expired(Timeline& timeline, const QueuedEvent& queued);

/// Settles the queued events that are too old to be executed.
void settle_old(Timeline& timeline);

/// Settles all queued events: nothing of them follows.
void settle_all(Timeline& timeline, BlockVerdict verdict, const std::string& text, bool failed);

// Texts (log_embedded.cpp).

/// Notes a received text of the main log in which a line looks like a record of the event log.
void note_received(Timeline& timeline, const MainRecord& record);

/// Returns how many records after the first one are part of its text, and appends them to it:
/// because a received text or a payload says so, or because of their times.
std::size_t count_embedded(Timeline& timeline, const std::deque<EventRecord>& records,
                           std::string& text);

}  // namespace kovo::check
