// Declarations that the sources of the timeline share.
#pragma once

#include <string>
#include <string_view>

#include "check/log_timeline.h"
#include "check/words.h"
#include "core/event_rules.h"

namespace kovo::check {

constexpr LogTime kLifeMs = kEventLifeNs / 1'000'000;
constexpr LogTime kLookupMs = 5000;  // at most, per pushed name: the status service is asked
constexpr LogTime kSendMs = 4000;    // at most, to connect and to send
constexpr LogTime kSkewMs = 10'000;  // at most, between the two records of an anchor

/// Returns "not executed within 60 s".
std::string expired_text();

// Blocks (log_timeline.cpp).

/// Adds a block with the time of the last record.
TimelineBlock& add_block(Timeline& timeline);

/// Gives a block its verdict.
void settle(TimelineBlock& block, BlockVerdict verdict, std::string text, bool failed);

/// Adds a block with its verdict.
TimelineBlock& add_settled(Timeline& timeline, std::string_view trigger, std::string source,
                           BlockVerdict verdict, std::string text, bool failed);

// Steps (log_verdicts.cpp).

/// Returns the key of a destination and payload; without a payload, the key of all payloads: what a
/// step sends that sends the device's status is not known.
std::string target_key(std::string_view address, std::int64_t port,
                       std::optional<std::string_view> payload);

/// Gives a step its verdict as far as its line and the ends of the logs decide it.
void settle_step(Timeline& timeline, const ExecutedLine& line, const TimelineBlock& block,
                 TimelineStep& step);

/// Finds the errors of a block's steps. The steps of the next few seconds must be known.
void settle_errors(Timeline& timeline, TimelineBlock& block);

/// Returns an error in words.
std::string reason_of(const MainRecord& error);

// Executions (log_executions.cpp).

bool is_step_line(EventLine kind);

/// Returns whether a step may have left a line. A sent payload may end like the line of a disabled
/// step; then the pattern decides, and the line is changed to that of an executed step.
bool fits_line(const StepPattern& pattern, ExecutedLine& line);

/// Returns "address:port protocol " of the line of a step.
std::string head_of(std::string_view step);

/// Adds the line of a step.
void on_step(Timeline& timeline, ExecutedLine line);

/// Ends the execution whose lines are being read.
void close_execution(Timeline& timeline);

void remove_queued(Timeline& timeline, const TimelineBlock* block);

// Pushes (log_pushes.cpp).

/// Notes why a name will be pushed.
void add_source(Timeline& timeline, std::string name, std::string text);

/// Returns the variables that raise a name, by the daemon's mapping tables.
std::string variable_source(std::string_view name);

void on_push(Timeline& timeline, const EventLineParts& parts);

/// Adds the push of "PowerOn" at the first start after boot.
void push_power_on(Timeline& timeline);

void on_power_on_skip(Timeline& timeline);

void on_start(Timeline& timeline);

/// Settles a queued event if its expiry is in the main log; returns whether it is.
bool settle_expired(Timeline& timeline, const QueuedEvent& queued);

/// Settles the queued events that are too old to be executed.
void settle_old(Timeline& timeline);

/// Settles all queued events, none of which can be executed any more.
void settle_all(Timeline& timeline, BlockVerdict verdict, const std::string& text, bool failed);

// Texts with newlines (log_embedded.cpp).

/// Remembers a received text in which a line looks like a record of the event log.
void note_received(Timeline& timeline, const MainRecord& record);

/// Returns how many records after the first one are part of its text, and appends them to `text`.
std::size_t count_embedded(Timeline& timeline, const std::deque<EventRecord>& records,
                           std::string& text);

}  // namespace kovo::check
