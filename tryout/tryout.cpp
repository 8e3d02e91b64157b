// The try-out page's door to the daemon's own code, compiled to WebAssembly.
//
// The page writes text into kovo_input(size) and calls a routine with that size; each routine that
// answers returns the size of one JSON text, which lies at kovo_output() until the next call. All
// of it runs on one thread.

#include <algorithm>
#include <ctime>

#include "check/explain.h"
#include "check/json.h"
#include "check/json_event.h"
#include "check/payload.h"
#include "check/rules.h"
#include "check/words.h"
#include "definitions/definition_entry.h"
#include "engine/event_fate.h"
#include "frame/text.h"
#include "frame/time_text.h"
#include "tryout/new_step.h"
#include "tryout/trial.h"
#include "variables/change_values.h"

#define KOVO_EXPORT(name) extern "C" __attribute__((export_name(#name)))

namespace kovo::tryout {
namespace {

using check::CheckOptions;
using check::Json;

constexpr char kFileName[] = "kovo.txt";

struct Page {
  std::string input;
  std::string output;
  std::string definition;
  check::Source source;  // of the definition
  StatusVars status;
  bool status_complete = false;
  unsigned products = check::kAnyProduct;
  TrialDevice device = started_device(check::variant_of_product(check::kAnyProduct), 0);
};

Page page;

std::string_view taken(std::size_t size) {
  return cut_text(page.input, size);
}

std::size_t answer(std::string text) {
  page.output = std::move(text);
  return page.output.size();
}

std::size_t answer(const Json& json) {
  return answer(json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

check::KnownValues values_of_page() {
  if (page.status.empty() && !page.status_complete) return check::known_values(nullptr);
  check::KnownValues values = check::known_values(&page.status);
  values.whole_status = page.status_complete;
  return values;
}

/// The same with the clock at the moment of sending.
check::KnownValues values_at(const Moment& now) {
  check::KnownValues values = values_of_page();
  const std::time_t seconds = now.local_s;
  std::tm fields{};
  gmtime_r(&seconds, &fields);  // they are local already
  values.values.date = date_text(fields);
  values.values.time = time_text(fields);
  values.values.uptime_s = uptime_s(page.device, now);
  values.clock = true;
  return values;
}

CheckOptions options_of_page() {
  CheckOptions options;
  options.products = page.products;
  if (page.status_complete) options.status = &page.status;
  return options;
}

Json step_json(const StepOutcome& outcome) {
  Json json;
  json["leaves_ms"] = outcome.leaves_ms;
  json["sent"] = outcome.sent;
  json["why"] = outcome.why;
  return json;
}

Json run_json(const check::ExplainedEvent& event, const Run& run) {
  Json json;
  json["event"] = check::event_json(kFileName, event);
  json["raised_ms"] = run.raised_ms;
  json["starts_ms"] = run.starts_ms;
  json["runs"] = run.runs;
  json["why"] = run.why;
  Json& steps = json["outcomes"] = Json::array();
  for (const StepOutcome& outcome : run.steps) steps.push_back(step_json(outcome));
  return json;
}

/// Raises the events of triggers and tells of those that no event has.
Json raise_all(const Reaction& reaction, RaisedBy by, const Moment& now) {
  Json runs = Json::array();
  Json notes = reaction.notes;
  const auto events = check::explain(page.source, page.products, values_at(now));
  for (const std::string& trigger : reaction.triggers) {
    const auto found =
        std::find_if(events.begin(), events.end(),
                     [&](const check::ExplainedEvent& event) { return event.trigger == trigger; });
    if (found == events.end()) {
      notes.push_back(check::quoted(trigger) + " is raised, and no event has that trigger");
    } else {
      runs.push_back(run_json(*found, raise_event(page.device, *found, by, now)));
    }
  }
  Json json;
  json["triggers"] = reaction.triggers;
  json["runs"] = std::move(runs);
  json["notes"] = std::move(notes);
  return json;
}

NewStep step_of(std::string_view lines) {
  NewStep step;
  for (const std::string_view line : split_lines(lines)) {
    const KeyValue pair = split_key_value(line);
    const std::string value(pair.value);
    if (pair.key == "event") step.event = value;
    if (pair.key == "trigger") step.trigger = value;
    if (pair.key == "protocol") step.protocol = value;
    if (pair.key == "address") step.address = value;
    if (pair.key == "port") step.port = value;
    if (pair.key == "delay") step.delay = value;
    if (pair.key == "payload") step.payload = value;
    if (pair.key == "sends") step.sends_status = value == "status";
  }
  return step;
}

}  // namespace

/// Room for so many bytes of input.
KOVO_EXPORT(kovo_input) char* kovo_input(std::size_t size) {
  page.input.resize(size);
  return page.input.data();
}

KOVO_EXPORT(kovo_output) const char* kovo_output() {
  return page.output.data();
}

KOVO_EXPORT(kovo_set_definition) void kovo_set_definition(std::size_t size) {
  page.definition = taken(size);
  page.source = check::read_source(page.definition);
}

/// Lines name=value, as in the daemon's status file. `complete`: a placeholder that they do not
/// hold stands for nothing.
KOVO_EXPORT(kovo_set_status) void kovo_set_status(std::size_t size, int complete) {
  page.status.clear();
  page.status_complete = complete != 0;
  for (const std::string_view line : split_lines(taken(size))) {
    const KeyValue pair = split_key_value(line);
    if (pair.found) page.status.emplace_back(pair.key, pair.value);
  }
}

/// Starts a device of a product ("" for any, which has the rows of an unknown one).
KOVO_EXPORT(kovo_start_device) void kovo_start_device(std::size_t size, double booted_ms) {
  const unsigned product = check::product_of(taken(size));
  page.products = product == 0 ? check::kAnyProduct : product;
  page.device = started_device(check::variant_of_product(page.products),
                               static_cast<std::int64_t>(booted_ms));
}

KOVO_EXPORT(kovo_enable_events) void kovo_enable_events(int enabled) {
  page.device.events_enabled = enabled != 0;
}

/// What kovocheck --format=json says of the definition.
KOVO_EXPORT(kovo_report) std::size_t kovo_report() {
  check::CheckedFile file;
  file.name = kFileName;
  file.findings = check::check_source(page.source, options_of_page());
  file.events = check::explain(page.source, page.products, values_of_page());
  return answer(check::json_text({file}));
}

/// The payloads as text, each with its line.
KOVO_EXPORT(kovo_payload_texts) std::size_t kovo_payload_texts() {
  Json json = Json::array();
  std::size_t position = 0;
  for (const DefinitionEntry& entry : page.source.entries) {
    const std::uint32_t line = page.source.entry_lines[position++];
    if (entry.parts != 2 || entry.field != "Data" || entry.value.empty()) continue;
    json.push_back({{"line", page.source.lines[line].number},
                    {"text", check::escaped(s_hex_to_ascii(entry.value))}});
  }
  return answer(json);
}

/// The daemon's limits, and the device variables with what they raise.
KOVO_EXPORT(kovo_vocabulary) std::size_t kovo_vocabulary() {
  Json json;
  json["limits"] = {{"file_bytes", kMaxDefinitionBytes},
                    {"display_period_s", kPowerOnPeriodS},
                    {"quiet_period_s", kQuietPeriodS}};
  Json& rows = json["rows"] = Json::array();
  for (const MappingRow& row : page.device.rows) {
    rows.push_back({{"variable", row.variable}, {"status", row.status}, {"setting", row.setting}});
  }
  return answer(json);
}

/// Raises an event by its trigger, as a program does on tcp:2700.
KOVO_EXPORT(kovo_raise) std::size_t kovo_raise(std::size_t size, double ms, double local_s) {
  const Moment now{static_cast<std::int64_t>(ms), static_cast<std::int64_t>(local_s)};
  return answer(raise_all({{std::string(taken(size))}, {}}, RaisedBy::kName, now));
}

/// Hands over a message to port 2727.
KOVO_EXPORT(kovo_message) std::size_t kovo_message(std::size_t size, double ms, double local_s) {
  const Moment now{static_cast<std::int64_t>(ms), static_cast<std::int64_t>(local_s)};
  const Reaction reaction = take_message(page.device, taken(size), now);
  return answer(raise_all(reaction, RaisedBy::kDevice, now));
}

/// The edits that add a step; the input has a line name=value for each field of the form.
KOVO_EXPORT(kovo_add_step) std::size_t kovo_add_step(std::size_t size) {
  std::string error;
  Json json;
  Json& edits = json["edits"] = Json::array();
  for (const Edit& edit : add_step(page.source, step_of(taken(size)), error)) {
    edits.push_back({{"line", edit.place.line},
                     {"column", edit.place.column},
                     {"length", edit.place.length},
                     {"text", edit.text}});
  }
  json["error"] = error;
  return answer(json);
}

}  // namespace kovo::tryout
