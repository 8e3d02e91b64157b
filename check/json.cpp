#include "check/json.h"

#include "check/payload.h"
#include "check/words.h"

namespace kovo::check {
namespace {

Json finding_json(const std::string& file, const Finding& finding) {
  Json json = {{"file", file},
               {"line", finding.range.line},
               {"column", finding.range.column},
               {"length", finding.range.length},
               {"severity", severity_name(finding.severity)},
               {"rule", finding.rule->name},
               {"text", finding.text},
               {"hint", finding.hint},
               {"fix", finding.fix ? Json(*finding.fix) : Json(nullptr)}};
  for (const Edit& edit : finding.also) json["also"].push_back(edit_json(edit));
  return json;
}

Json step_json(const ExplainedStep& step) {
  const std::string_view sent = sent_part(step.payload);
  return {{"index", step.index},
          {"offset_ms", step.offset_ms},
          {"sends", step.why_not.empty() ? sent_name(step.sender) : "nothing"},
          {"why", step.why_not},
          {"transport", transport_name(step.sender)},
          {"protocol", step.protocol},
          {"address", step.address},
          {"port", step.port},
          {"bytes", step.is_complete ? Json(sent.size()) : Json(nullptr)},
          {"hex", step.is_complete ? Json(as_hex(sent)) : Json(nullptr)},
          {"payload", escaped(sent)},
          {"truncated", step.truncated},
          {"ends_at_zero", step.ends_at_zero}};
}

}  // namespace

Json edit_json(const Edit& edit) {
  return {{"line", edit.range.line},
          {"column", edit.range.column},
          {"length", edit.range.length},
          {"text", edit.text}};
}

Json event_json(const std::string& file, const ExplainedEvent& event) {
  Json steps = Json::array();
  for (const ExplainedStep& step : event.steps) steps.push_back(step_json(step));
  return {{"file", file},
          {"line", event.line},
          {"name", event.name},
          {"trigger", event.trigger},
          {"raised_by", event.raised_by},
          {"shadowed_by", event.shadowed_by},
          {"delay_s", event.delay_s},
          {"never_runs", event.never_runs},
          {"once_per_boot", event.once_per_boot},
          {"display_period", event.display_period},
          {"step_count", event.step_count},
          {"steps", std::move(steps)}};
}

Json report_json(const std::vector<CheckedFile>& files) {
  Json json = {{"findings", Json::array()},
               {"events", Json::array()},
               {"errors", 0},
               {"warnings", 0},
               {"notes", 0}};
  for (const CheckedFile& file : files) {
    for (const Finding& finding : file.findings) {
      json["findings"].push_back(finding_json(file.name, finding));
      Json& count = json[severity_name(finding.severity) + std::string("s")];
      count = count.get<int>() + 1;
    }
    for (const ExplainedEvent& event : file.events) {
      json["events"].push_back(event_json(file.name, event));
    }
  }
  return json;
}

std::string json_text(const std::vector<CheckedFile>& files) {
  return report_json(files).dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace kovo::check
