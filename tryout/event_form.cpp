#include "tryout/event_form.h"

#include <utility>

#include "check/model.h"
#include "check/typed_text.h"
#include "check/words.h"
#include "core/text.h"

namespace kovo::tryout {
namespace {

using check::Json;

/// A field word and its key in the form.
using FormField = std::pair<std::string_view, const char*>;

// In the order in which the lines are written. A Delay line sets the trigger of a built-in event
// back, so that it goes before the trigger.
constexpr FormField kEventFields[] = {
    {kCountField, "count"}, {kDelayField, "delay"}, {kTriggerField, "trigger"}};
constexpr FormField kStepFields[] = {{kProtocolField, "protocol"},
                                     {kIpField, "address"},
                                     {kPortField, "port"},
                                     {kDataField, "data"},
                                     {kDelayField, "delay"}};

/// Returns where the form keeps the value of an entry; null for an entry that it does not know.
Json* place_of(const DefinitionEntry& entry, Json& form) {
  std::uint32_t index = 0;
  if (entry.parts == 1) {
    for (const auto& [word, key] : kEventFields) {
      if (word == entry.field) return &form[key];
    }
  } else if (check::read_index(entry, index) && index < kMaxSteps) {
    for (const auto& [word, key] : kStepFields) {
      if (word == entry.field) return &form["steps"][index][key];
    }
  }
  return nullptr;
}

void add_line(std::string& lines, const Json& values, const FormField& field, std::string key) {
  if (!values.contains(field.second)) return;
  lines += key.append(field.first) + values.value("index", "") + "=";
  lines += values[field.second].get_ref<const std::string&>() + "\n";
}

}  // namespace

Json read_form(const check::Source& source, std::string_view event) {
  Json form = {{"name", event}, {"steps", Json::array()}, {"others", Json::array()}};
  std::string error = source.cr_only ? "use Unix line endings first" : "";
  bool trigger_set_back = false;
  std::uint32_t last_delay = 0;  // the step of the last Delay line
  for (const DefinitionEntry& entry : source.entries) {
    if (entry.name != event || entry.parts == 0) continue;
    const std::string key = std::string(entry.field).append(entry.index);
    Json* const place = place_of(entry, form);
    if (place == nullptr) {
      form["others"].push_back(key + "=" + std::string(entry.value));
      continue;
    }
    if (!place->is_null()) error = "it has two lines " + check::shown(key) + ": remove one first";
    *place = entry.value;
    if (entry.field != kDelayField) continue;
    std::uint32_t step = 0;
    if (entry.parts == 1) {
      trigger_set_back = is_builtin_event(event) && form.contains("trigger");
    } else if (check::read_index(entry, step) && step >= last_delay) {
      last_delay = step;
    } else {
      error = "put the Delay lines of its steps in order first: they add up as they follow";
    }
  }
  const auto steps = static_cast<std::int32_t>(form["steps"].size());
  if (to_int32(form.value("count", std::to_string(steps))) < steps) {
    error = "it has lines of step " + std::to_string(steps - 1) + ": increase its Count first";
  }
  if (trigger_set_back || !form.contains("trigger")) form["trigger"] = event;
  for (Json& step : form["steps"]) {
    if (step.is_null()) step = Json::object();  // a number without lines
    step["payload"] = check::text_of_bytes(s_hex_to_ascii(step.value("data", "")));
  }
  form["error"] = std::move(error);
  return form;
}

std::string lines_of(const Json& form) {
  const std::string name = form["name"];
  std::string lines;
  for (const FormField& field : kEventFields) add_line(lines, form, field, name);
  std::size_t index = 0;
  for (Json step : form["steps"]) {
    step["index"] = std::to_string(index++);
    for (const FormField& field : kStepFields) add_line(lines, step, field, name);
  }
  for (const Json& other : form["others"]) lines += name + other.get<std::string>() + "\n";
  return lines;
}

}  // namespace kovo::tryout
