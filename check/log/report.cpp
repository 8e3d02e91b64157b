#include "check/log/report.h"

#include <algorithm>

#include "check/json.h"
#include "check/payload.h"
#include "check/words.h"

namespace kovo::check {
namespace {

constexpr std::size_t kMinPayload = 16;      // columns; with fewer it has a line of its own
constexpr LogTime kNoticeableMs = 1000;      // between a push and its execution
constexpr char kIndent[] = "             ";  // as wide as a time

/// Breaks a text at blanks into lines of at most `width` columns, all but the first indented.
std::string lines_of(const std::string& text, std::size_t width, const std::string& indent) {
  return wrapped(text, width, indent, 0) + "\n";
}

std::string padded(std::string text, std::size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

/// Returns a name in quotes; says if blanks are at its end, which nobody sees.
std::string named(std::string_view name) {
  const bool has_blank = !name.empty() && name.back() == ' ';
  return quoted(name) + (has_blank ? " (ends with a blank)" : "");
}

std::string step_text(const TimelineStep& step, const std::string& start, std::size_t width) {
  const std::string indent(4, ' ');
  std::string payload = is_status(step) ? "the device's status" : quoted(step.payload, SIZE_MAX);
  std::string text = start + step.text;
  std::size_t room = width - std::min(width, text.size() + 2);
  if (room < std::min(kMinPayload, payload.size())) {
    text = lines_of(text, width, indent) + indent;
    room = width - std::min(width, indent.size());
  } else {
    text += "  ";
  }
  if (payload.size() > room && room > 4) payload = payload.substr(0, room - 4) + "...\"";
  text += payload + "\n";
  return step.note.empty() ? text : text + lines_of(indent + step.note, width, indent);
}

std::string steps_text(const std::vector<TimelineStep>& steps, std::size_t width) {
  const auto offset_of = [](const TimelineStep& step) {
    return step.offset_known ? "+" + std::to_string(step.offset_ms) + " ms " : "";
  };
  const auto target_of = [](const TimelineStep& step) {
    return padded(transport_name(step.sender), 4) + shown(step.address) + ":" + shown(step.port);
  };
  std::size_t offset = 0;
  std::size_t target = 0;
  for (const TimelineStep& step : steps) {
    offset = std::max(offset, offset_of(step).size());
    target = std::max(target, target_of(step).size() + 2);
  }
  std::string text;
  for (const TimelineStep& step : steps) {
    const std::string start = padded(offset_of(step), offset) + padded(target_of(step), target);
    text += step_text(step, "  " + start, width);
  }
  return text;
}

std::string result_text(const TimelineBlock& block) {
  std::string text = shown(block.event);
  if (block.step_count) text += ", " + counted(*block.step_count, "step");
  if (block.is_probable && !text.empty()) text = "probably " + text;
  const auto add = [&](const std::string& part) { text += (text.empty() ? "" : ": ") + part; };
  if (block.executed && *block.executed - block.time >= kNoticeableMs) {
    add("executed at " + clock_text(*block.executed));
  }
  if (!block.text.empty()) add(block.text);
  if (block.is_probable && block.event.empty()) add("probably these steps");
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
  json["verdict"] = step.verdict;
  json["text"] = step.text;
  json["note"] = step.note;
  return json;
}

std::string dumped(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string list_of(const std::vector<std::string>& texts) {
  std::string result;
  for (const std::string& text : texts) result += (result.empty() ? "" : ", ") + text;
  return result;
}

}  // namespace

bool passes(const LogFilter& filter, const TimelineBlock& block) {
  if (!filter.trigger.empty() && block.trigger != filter.trigger) return false;
  if (filter.only_failed && !block.has_failed) return false;
  return block.time == 0 || !filter.since || block.time >= *filter.since;
}

std::string block_text(const TimelineBlock& block, std::size_t width, std::string& day) {
  std::string text;
  if (block.time != 0 && day != day_text(block.time)) {
    if (!day.empty()) text += "\n";
    day = day_text(block.time);
    text += day + "\n";
  }
  const std::string time = block.time == 0 ? "~" : clock_text(block.time);
  std::string head = padded(block.is_about && block.time != 0 ? "~" + time.substr(0, 5) : time,
                            sizeof kIndent - 1);
  if (!block.trigger.empty()) head += named(block.trigger);
  if (!block.source.empty()) head += (block.trigger.empty() ? "" : " ") + block.source;
  const std::string result = result_text(block);
  const bool has_name = !block.trigger.empty() || !block.source.empty();
  if (!has_name) {
    text += lines_of(head + result, width, kIndent);
  } else {
    text += lines_of(head, width, kIndent);
    if (!result.empty()) text += lines_of("  -> " + result, width, "     ");
  }
  return text + steps_text(block.steps, width);
}

std::string block_json(const TimelineBlock& block) {
  Json json;
  json["time"] = block.time != 0 ? time_json(block.time) : Json(nullptr);
  json["about"] = block.is_about;
  json["trigger"] = block.trigger;
  json["source"] = block.source;
  json["test"] = block.is_test;
  json["event"] = block.event;
  json["probably"] = block.is_probable;
  json["step_count"] = block.step_count ? Json(*block.step_count) : Json(nullptr);
  json["executed"] = block.executed ? time_json(*block.executed) : Json(nullptr);
  json["verdict"] = block.verdict;
  json["text"] = block.text;
  json["failed"] = block.has_failed;
  json["definitions_renewed"] = block.is_renewed;
  Json& steps = json["steps"] = Json::array();
  for (const TimelineStep& step : block.steps) steps.push_back(step_json(step));
  return dumped(json);
}

std::string summary_text(const Timeline& timeline, std::size_t width, bool has_definitions) {
  std::string text;
  const auto add = [&](const std::string& line) { text += lines_of(line, width, "  "); };
  add("sent? means that no error is logged. Whether a datagram arrived leaves no trace.");
  if (!has_definitions) {
    add("Without --definitions the timeline does not know which trigger has an event, which steps "
        "belong to it and when they were due.");
  }
  std::string read = counted(timeline.event_records, "record") + " of kovoevent.log, " +
                     std::to_string(timeline.main_records) + " of kovo.log";
  if (timeline.main_since) {
    read += " from " + day_text(*timeline.main_since) + " " + clock_text(*timeline.main_since);
  }
  if (timeline.skipped > 0)
    read += "; lines outside of records: " + std::to_string(timeline.skipped);
  if (timeline.unknown > 0) read += "; records not understood: " + std::to_string(timeline.unknown);
  add(read);
  if (timeline.renewed) {
    add("The definition file was edited: it was last read again about " +
        day_text(*timeline.renewed) + " " + clock_text(*timeline.renewed).substr(0, 8) + ".");
  }
  if (!timeline.without_effect.empty()) {
    add("Messages on ports 2727 and 2728 that raised nothing in these logs: " +
        list_of(timeline.without_effect));
  }
  return text;
}

std::string summary_json(const Timeline& timeline) {
  Json json;
  json["event_records"] = timeline.event_records;
  json["main_records"] = timeline.main_records;
  json["lines_skipped"] = timeline.skipped;
  json["records_unknown"] = timeline.unknown;
  json["main_log_since"] = timeline.main_since ? time_json(*timeline.main_since) : Json(nullptr);
  json["definitions_renewed"] = timeline.renewed.has_value();
  json["without_effect"] = timeline.without_effect;
  const std::string text = dumped(json);
  return text.substr(1, text.size() - 2);
}

}  // namespace kovo::check
