#include "check/log_report.h"

#include <algorithm>

#include "check/json_event.h"
#include "check/payload.h"
#include "check/words.h"

namespace kovo::check {
namespace {

constexpr std::size_t kTimeWidth = 14;
constexpr std::size_t kPayloadShown = 40;
constexpr LogTime kNoticeableMs = 1000;  // between a push and its execution

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

std::string time_column(const TimelineBlock& block) {
  if (!block.time_known) return padded("~", kTimeWidth);
  const std::string clock = clock_text(block.time);
  return padded(block.is_about ? "~" + clock.substr(0, 5) : clock, kTimeWidth);
}

struct StepColumns {
  std::string offset;
  std::string target;
  std::string payload;
};

StepColumns columns_of(const TimelineStep& step) {
  StepColumns columns;
  if (step.offset_known) columns.offset = "+" + std::to_string(step.offset_ms) + " ms";
  columns.target =
      padded(transport_name(step.sender), 3) + " " + shown(step.address) + ":" + shown(step.port);
  columns.payload = is_status(step) ? "the device's status" : quoted(step.payload, kPayloadShown);
  return columns;
}

std::string steps_text(const std::vector<TimelineStep>& steps) {
  std::vector<StepColumns> rows;
  std::size_t offset = 0;
  std::size_t target = 0;
  std::size_t payload = 0;
  for (const TimelineStep& step : steps) {
    const StepColumns& row = rows.emplace_back(columns_of(step));
    offset = std::max(offset, row.offset.size());
    target = std::max(target, row.target.size());
    payload = std::max(payload, row.payload.size());
  }
  std::string text;
  for (std::size_t at = 0; at < rows.size(); ++at) {
    text += std::string(kTimeWidth + 3, ' ');
    if (offset > 0) text += padded(rows[at].offset, offset + 2);
    text += padded(rows[at].target, target + 3) + padded(rows[at].payload, payload + 3) +
            steps[at].text + "\n";
  }
  return text;
}

std::string event_words(const TimelineBlock& block) {
  if (block.event.empty()) return "";
  std::string text = (block.is_probable ? "probably " : "") + shown(block.event);
  if (block.step_count) text += ", " + counted(*block.step_count, "step");
  return text;
}

std::string result_text(const TimelineBlock& block) {
  std::string text = event_words(block);
  if (block.was_executed) {
    if (text.empty())
      text = block.trigger.empty() ? "an event that is not known" : "probably these";
    if (block.executed_at - block.time >= kNoticeableMs) {
      text += ", executed at " + clock_text(block.executed_at);
    }
    if (block.step_count) text += " (delays as defined)";
  }
  if (!block.text.empty()) text += (text.empty() ? "" : ": ") + block.text;
  if (block.is_renewed && block.verdict != BlockVerdict::kHoldOff) {
    text += "; the definitions were read again later";
  }
  return text;
}

Json time_json(LogTime time) {
  return day_text(time) + "T" + clock_text(time);
}

Json step_json(const TimelineStep& step) {
  Json json;
  json["offset_ms"] = step.offset_known ? Json(step.offset_ms) : Json(nullptr);
  json["sends"] = sent_name(step.sender);
  json["transport"] = transport_name(step.sender);
  json["protocol"] = step.protocol;
  json["address"] = step.address;
  json["port"] = step.port;
  json["payload"] = escaped(step.payload);
  json["hex"] = as_hex(step.payload);
  json["verdict"] = verdict_name(step.verdict);
  json["text"] = step.text;
  return json;
}

std::string dumped(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

bool passes(const LogFilter& filter, const TimelineBlock& block) {
  if (!filter.event.empty() && block.event != filter.event) return false;
  if (!filter.trigger.empty() && block.trigger != filter.trigger) return false;
  if (filter.only_failed && !block.has_failed) return false;
  if (!block.time_known) return true;
  return (!filter.since || block.time >= *filter.since) &&
         (!filter.until || block.time < *filter.until);
}

std::string block_text(const TimelineBlock& block, std::string& day) {
  std::string text;
  if (block.time_known && day != day_text(block.time)) {
    if (!day.empty()) text += "\n";
    day = day_text(block.time);
    text += day + "\n";
  }
  text += time_column(block);
  if (block.trigger.empty() && block.source.empty()) return text + block.text + "\n";
  text += padded(shown(block.trigger), 9);
  if (!block.source.empty()) text += "  " + block.source;
  text += "\n" + std::string(kTimeWidth, ' ') + "-> " + result_text(block) + "\n";
  return text + steps_text(block.steps);
}

std::string block_json(const TimelineBlock& block) {
  Json json;
  json["time"] = block.time_known ? time_json(block.time) : Json(nullptr);
  json["about"] = block.is_about;
  json["trigger"] = block.trigger;
  json["source"] = block.source;
  json["test"] = block.is_test;
  json["event"] = block.event;
  json["probably"] = block.is_probable;
  json["step_count"] = block.step_count ? Json(*block.step_count) : Json(nullptr);
  json["executed"] = block.was_executed ? time_json(block.executed_at) : Json(nullptr);
  json["verdict"] = verdict_name(block.verdict);
  json["text"] = block.text;
  json["failed"] = block.has_failed;
  json["definitions_renewed"] = block.is_renewed;
  Json& steps = json["steps"] = Json::array();
  for (const TimelineStep& step : block.steps) steps.push_back(step_json(step));
  return dumped(json);
}

std::string counts_text(const LogCounts& counts) {
  std::string text = counted(static_cast<std::size_t>(counts.event_records), "record") +
                     " of kovoevent.log, " + std::to_string(counts.main_records) + " of kovo.log";
  const auto add = [&](std::uint64_t count, const char* what) {
    if (count > 0) text += std::string("; ") + what + ": " + std::to_string(count);
  };
  add(counts.skipped, "lines outside of records");
  add(counts.unknown, "records not understood");
  add(counts.embedded, "lines like records within texts");
  add(counts.files_skipped, "files skipped");
  text += "\n";
  if (counts.main_since) {
    text += "kovo.log reaches back to " + day_text(*counts.main_since) + " " +
            clock_text(*counts.main_since) + "\n";
  }
  if (counts.is_renewed) {
    text += "the definitions were read again: the given file may differ from the earlier one\n";
  }
  return text;
}

std::string counts_json(const LogCounts& counts) {
  Json json;
  json["event_records"] = counts.event_records;
  json["main_records"] = counts.main_records;
  json["lines_skipped"] = counts.skipped;
  json["records_unknown"] = counts.unknown;
  json["lines_embedded"] = counts.embedded;
  json["files_skipped"] = counts.files_skipped;
  json["main_log_since"] = counts.main_since ? time_json(*counts.main_since) : Json(nullptr);
  json["definitions_renewed"] = counts.is_renewed;
  const std::string text = dumped(json);
  return text.substr(1, text.size() - 2);
}

}  // namespace kovo::check
