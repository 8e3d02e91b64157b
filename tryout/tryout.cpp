// The functions of the daemon's own code that the try-out page calls, compiled to WebAssembly.
//
// The page writes text to kovo_input(size) and calls a function with that size. A function that
// answers returns the size of a JSON text, which kovo_output() holds until the next call. All of
// them run on one thread.

#include <algorithm>
#include <ctime>
#include <optional>
#include <unordered_map>

#include "check/explain.h"
#include "check/fixes.h"
#include "check/json.h"
#include "check/json_event.h"
#include "check/payload.h"
#include "check/rules.h"
#include "check/status_text.h"
#include "check/triggers.h"
#include "check/typed_text.h"
#include "check/words.h"
#include "core/definition_entry.h"
#include "core/event_rules.h"
#include "core/message.h"
#include "core/text.h"
#include "tryout/step_edits.h"
#include "tryout/trial.h"

#define KOVO_EXPORT(name) extern "C" __attribute__((export_name(#name)))

namespace kovo::tryout {
namespace {

using check::CheckOptions;
using check::Json;
using check::TriggerCause;
using check::TriggerSource;

constexpr char kFileName[] = "kovo.txt";

struct Page {
  std::string input;
  std::string output;
  Definition definition;
  StatusVars status;
  bool status_complete = false;
  unsigned products = check::kAnyProduct;
  TrialDevice device = started_device(check::variant_of_product(check::kAnyProduct), 0);
};

Page page;

/// Returns what the page wrote to kovo_input.
std::string_view input_text(std::size_t size) {
  return truncated(page.input, size);
}

std::size_t answer(std::string text) {
  page.output = std::move(text);
  return page.output.size();
}

std::size_t answer(const Json& json) {
  return answer(json.dump(-1, ' ', false, Json::error_handler_t::replace));
}

Moment moment(double ms, double local_s) {
  return {static_cast<std::int64_t>(ms), static_cast<std::int64_t>(local_s)};
}

check::KnownValues values_of_page() {
  if (page.status.empty() && !page.status_complete) return check::known_values(nullptr);
  check::KnownValues values = check::known_values(&page.status);
  values.whole_status = page.status_complete;
  return values;
}

/// Returns the same with the clock at `now`.
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

Json run_json(const check::ExplainedEvent& event, const Run& run) {
  Json json;
  json["event"] = check::event_json(kFileName, event);
  json["raised_ms"] = run.raised_ms;
  json["starts_ms"] = run.starts_ms;
  json["runs"] = run.why_not.empty();
  json["why"] = run.why_not;
  Json& steps = json["outcomes"] = Json::array();
  for (const StepOutcome& step : run.steps) {
    steps.push_back(
        {{"leaves_ms", step.leaves_ms}, {"sent", step.why_not.empty()}, {"why", step.why_not}});
  }
  return json;
}

/// Raises the events of the triggers, and adds a note for a trigger that no event has.
Json raise_all(const Reaction& reaction, RaisedBy by, const Moment& now) {
  Json runs = Json::array();
  Json notes = reaction.notes;
  const auto events = check::explain(page.definition.source, page.products, values_at(now));
  for (const std::string& trigger : reaction.triggers) {
    const auto found =
        std::find_if(events.begin(), events.end(),
                     [&](const check::ExplainedEvent& event) { return event.trigger == trigger; });
    if (found == events.end()) {
      notes.push_back("no event has the trigger " + check::quoted(trigger));
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

using Fields = std::unordered_map<std::string, std::string>;

Fields fields_of(std::string_view lines) {
  Fields fields;
  for (const std::string_view line : split_lines(lines)) {
    const KeyValue pair = split_key_value(line);
    fields.emplace(pair.key, pair.value);
  }
  return fields;
}

/// Returns the bytes of a typed payload; sets `error` when they are not hexadecimal as declared.
std::string payload_of(Fields& fields, std::string& error) {
  if (fields["form"] != "hex") return check::bytes_of_text(fields["payload"]);
  const std::optional<std::string> bytes = check::bytes_of_hex(fields["payload"]);
  if (!bytes) error = "write two hexadecimal digits for each byte, as in 4F 4B 0D";
  return bytes.value_or("");
}

NewStep step_of(Fields& fields, std::string payload) {
  NewStep step;
  step.event = fields["event"];
  step.trigger = fields["trigger"];
  step.event_delay = fields["event_delay"];
  step.protocol = fields["protocol"];
  step.address = fields["address"];
  step.port = fields["port"];
  step.delay = fields["delay"];
  step.payload = std::move(payload);
  step.sends_status = fields["sends"] == "status";
  return step;
}

Edits edits_of(Fields& fields) {
  std::string error;
  const std::string payload = payload_of(fields, error);
  if (!error.empty()) return {{}, error};
  const std::string& event = fields["event"];
  const std::string& what = fields["do"];
  std::uint32_t index = 0;
  to_uint32(fields["index"], 10, index);
  if (what == "add") return add_step(page.definition, step_of(fields, payload));
  if (what == "payload") return set_payload(page.definition, event, index, payload);
  if (what == "down") return move_step_down(page.definition, event, index);
  if (what == "delete_step") return delete_step(page.definition, event, index);
  return delete_event(page.definition, event);
}

Json edit_json(const Edit& edit) {
  const std::string_view before = truncated(page.definition.text, edit.offset);
  Json json;
  json["line"] = 1 + std::count(before.begin(), before.end(), '\n');
  json["column"] = before.size() - before.rfind('\n');  // npos is -1
  json["length"] = edit.length;
  json["text"] = edit.text;
  return json;
}

const char* name_of(TriggerCause cause) {
  switch (cause) {
    case TriggerCause::kVariable:
    case TriggerCause::kVariablePart:
      return "variable";
    case TriggerCause::kSetting:
      return "setting";
    case TriggerCause::kPlayback:
      return "playback";
    case TriggerCause::kFirstStart:
      return "start";
    case TriggerCause::kDisplay:
      break;
  }
  return "display";
}

}  // namespace

/// Returns a buffer for `size` bytes of input.
KOVO_EXPORT(kovo_input) char* kovo_input(std::size_t size) {
  page.input.resize(size);
  return page.input.data();
}

KOVO_EXPORT(kovo_output) const char* kovo_output() {
  return page.output.data();
}

KOVO_EXPORT(kovo_set_definition) void kovo_set_definition(std::size_t size) {
  page.definition.text = input_text(size);
  page.definition.source = check::read_source(page.definition.text);
}

/// Sets the status from lines name=value, as in the daemon's status file. `complete`: all other
/// placeholders are replaced by nothing.
KOVO_EXPORT(kovo_set_status) void kovo_set_status(std::size_t size, int complete) {
  page.status.clear();
  page.status_complete = complete != 0;
  for (const std::string_view line : split_lines(input_text(size))) {
    const KeyValue pair = split_key_value(line);
    if (page.status.size() == kMaxStatusVars) break;
    if (pair.found) page.status.emplace_back(pair.key, pair.value);
  }
}

/// Reads a copy of a device's status, as kovocheck --status does. Answers its lines as name=value,
/// or the error.
KOVO_EXPORT(kovo_read_status) std::size_t kovo_read_status(std::size_t size) {
  StatusVars status;
  const std::string error = check::parse_status(input_text(size), status);
  std::string lines;
  for (const auto& [name, value] : status) {
    lines.append(name).append("=").append(value).append("\n");
  }
  Json json;
  json["lines"] = error.empty() ? lines : "";
  json["error"] = error;
  return answer(json);
}

/// Starts a device of a product; "" for any, which has the mapping rows of an unknown product.
KOVO_EXPORT(kovo_start_device) void kovo_start_device(std::size_t size, double booted_ms) {
  const unsigned product = check::product_of(input_text(size));
  page.products = product == 0 ? check::kAnyProduct : product;
  const Settings settings = page.device.settings;  // they are persistent
  page.device = started_device(check::variant_of_product(page.products),
                               static_cast<std::int64_t>(booted_ms));
  page.device.settings = settings;
}

KOVO_EXPORT(kovo_enable_events) void kovo_enable_events(int enabled) {
  page.device.events_enabled = enabled != 0;
}

/// Returns the report of kovocheck --format=json. With `events` 0 it omits the events and takes
/// half the time.
KOVO_EXPORT(kovo_report) std::size_t kovo_report(int events) {
  check::CheckedFile file;
  file.name = kFileName;
  const CheckOptions options = options_of_page();
  const check::Source& source = page.definition.source;
  file.findings = check::check_source(source, options);
  check::remove_harmful_fixes(page.definition.text, source, options, file.findings);
  if (events != 0) {
    file.events = check::explain(page.definition.source, page.products, values_of_page());
  }
  return answer(check::json_text({file}));
}

/// Returns the events of kovo_report.
KOVO_EXPORT(kovo_events) std::size_t kovo_events() {
  Json json = Json::array();
  for (const check::ExplainedEvent& event :
       check::explain(page.definition.source, page.products, values_of_page())) {
    json.push_back(check::event_json(kFileName, event));
  }
  return answer(json);
}

/// Returns the payloads as typed text, each with its line and step.
KOVO_EXPORT(kovo_payload_texts) std::size_t kovo_payload_texts() {
  Json json = Json::array();
  std::size_t position = 0;
  for (const DefinitionEntry& entry : page.definition.source.entries) {
    const std::uint32_t line = page.definition.source.entry_lines[position++];
    if (entry.parts != 2 || entry.field != "Data" || entry.value.empty()) continue;
    json.push_back({{"line", page.definition.source.lines[line].number},
                    {"event", entry.name},
                    {"index", to_int32(entry.index)},
                    {"text", check::text_of_bytes(s_hex_to_ascii(entry.value))}});
  }
  return answer(json);
}

/// Returns the daemon's limits, and what raises triggers on this product.
KOVO_EXPORT(kovo_vocabulary) std::size_t kovo_vocabulary() {
  Json json;
  json["limits"] = {{"file_bytes", kMaxDefinitionBytes},
                    {"display_period_s", kPowerOnPeriodS},
                    {"hold_off_s", kHoldOffS}};
  Json& triggers = json["triggers"] = Json::array();
  const bool is_known = page.products != check::kAnyProduct;
  for (const TriggerSource& source :
       check::trigger_sources(is_known ? page.products : check::kInputHdmi)) {
    triggers.push_back(
        {{"trigger", source.trigger}, {"cause", name_of(source.cause)}, {"name", source.name}});
  }
  return answer(json);
}

/// Raises a trigger, as a program does on tcp:2700.
KOVO_EXPORT(kovo_raise) std::size_t kovo_raise(std::size_t size, double ms, double local_s) {
  const Reaction reaction{{std::string(input_text(size))}, {}};
  return answer(raise_all(reaction, RaisedBy::kName, moment(ms, local_s)));
}

/// Processes a message to port 2727 or a status line to port 2728.
KOVO_EXPORT(kovo_message)
std::size_t kovo_message(std::size_t size, int port, double ms, double local_s) {
  const Moment now = moment(ms, local_s);
  const Reaction reaction = port == 2728 ? process_status_line(page.device, input_text(size), now)
                                         : process_message(page.device, input_text(size), now);
  return answer(raise_all(reaction, RaisedBy::kDevice, now));
}

/// Returns the edits that change steps, and the findings for their text. The input has a line
/// name=value for each field: do=add, payload, down, delete_step or delete_event, then the event,
/// the index and the fields of the form.
KOVO_EXPORT(kovo_edit) std::size_t kovo_edit(std::size_t size) {
  Fields fields = fields_of(input_text(size));
  const Edits edits = edits_of(fields);
  Json json;
  json["error"] = edits.error;
  json["looks_like_hex"] = fields["form"] != "hex" && check::looks_like_hex(fields["payload"]);
  Json& list = json["edits"] = Json::array();
  for (const Edit& edit : edits.list) list.push_back(edit_json(edit));
  Json& findings = json["findings"] = Json::array();
  // Only typed text is checked: moving and deleting must work in a file with mistakes, too.
  if (fields["do"] != "add" && fields["do"] != "payload") return answer(json);
  for (const check::Finding& finding : check_edits(page.definition, edits, options_of_page())) {
    findings.push_back({{"severity", check::severity_name(finding.severity)},
                        {"text", finding.text},
                        {"hint", finding.hint}});
  }
  return answer(json);
}

}  // namespace kovo::tryout
