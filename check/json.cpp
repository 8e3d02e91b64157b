#include "check/json.h"

#include "check/json_event.h"
#include "check/payload.h"
#include "check/words.h"

namespace kovo::check {
namespace {

Json edit_json(const Edit& edit) {
  Json json;
  json["line"] = edit.range.line;
  json["column"] = edit.range.column;
  json["length"] = edit.range.length;
  json["text"] = edit.text;
  return json;
}

Json finding_json(const std::string& file, const Finding& finding) {
  Json json;
  json["file"] = file;
  json["line"] = finding.range.line;
  json["column"] = finding.range.column;
  json["length"] = finding.range.length;
  json["severity"] = severity_name(finding.severity);
  json["rule"] = finding.rule->name;
  json["text"] = finding.text;
  json["hint"] = finding.hint;
  json["fix"] = finding.fix ? Json(*finding.fix) : Json(nullptr);
  if (!finding.also.empty()) {
    Json& also = json["also"] = Json::array();
    for (const Edit& edit : finding.also) also.push_back(edit_json(edit));
  }
  return json;
}

Json step_json(const ExplainedStep& step) {
  const std::string_view sent = sent_part(step.payload);
  Json json;
  json["index"] = step.index;
  json["offset_ms"] = step.offset_ms;
  json["sends"] = sent_name(step.sender);
  json["transport"] = transport_name(step.sender);
  json["protocol"] = step.protocol;
  json["address"] = step.address;
  json["port"] = step.port;
  json["bytes"] = step.known ? Json(sent.size()) : Json(nullptr);
  json["hex"] = step.known ? Json(as_hex(sent)) : Json(nullptr);
  json["payload"] = escaped(sent);
  json["truncated"] = step.truncated;
  json["ends_at_zero"] = step.ends_at_zero;
  return json;
}

}  // namespace

Json event_json(const std::string& file, const ExplainedEvent& event) {
  Json json;
  json["file"] = file;
  json["line"] = event.line;
  json["name"] = event.name;
  json["trigger"] = event.trigger;
  json["raised_by"] = event.raised_by;
  json["shadowed_by"] = event.shadowed_by;
  json["delay_s"] = event.delay_s;
  json["never_runs"] = event.never_runs;
  json["once_per_boot"] = event.once_per_boot;
  json["display_period"] = event.display_period;
  json["step_count"] = event.step_count;
  Json& steps = json["steps"] = Json::array();
  for (const ExplainedStep& step : event.steps) steps.push_back(step_json(step));
  return json;
}

std::string json_text(const std::vector<CheckedFile>& files) {
  std::size_t counts[3] = {0, 0, 0};
  Json findings = Json::array();
  Json events = Json::array();
  for (const CheckedFile& file : files) {
    for (const Finding& finding : file.findings) {
      findings.push_back(finding_json(file.name, finding));
      ++counts[static_cast<std::size_t>(finding.severity)];
    }
    for (const ExplainedEvent& event : file.events) events.push_back(event_json(file.name, event));
  }
  Json json;
  json["findings"] = std::move(findings);
  json["events"] = std::move(events);
  json["errors"] = counts[static_cast<std::size_t>(Severity::kError)];
  json["warnings"] = counts[static_cast<std::size_t>(Severity::kWarning)];
  json["notes"] = counts[static_cast<std::size_t>(Severity::kNote)];
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace kovo::check
