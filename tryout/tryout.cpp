// The functions of the daemon's own code that the try-out page calls, compiled to WebAssembly.
//
// The page writes text to kovo_input(size) and calls a function with that size. A function that
// answers returns the size of a JSON text, which kovo_output() holds until the next call. Texts
// are those of the file, byte by byte; JSON is UTF-8 also when the file is Latin-1. All of them
// run on one thread.

#include <algorithm>
#include <ctime>
#include <optional>
#include <set>

#include "check/explain.h"
#include "check/fixes.h"
#include "check/json.h"
#include "check/log/parts.h"
#include "check/log/report.h"
#include "check/payload.h"
#include "check/rules.h"
#include "check/triggers.h"
#include "check/typed_text.h"
#include "check/words.h"
#include "core/definition_entry.h"
#include "core/event_rules.h"
#include "core/message.h"
#include "core/text.h"
#include "tryout/event_form.h"
#include "tryout/step_edits.h"
#include "tryout/trial.h"

#define KOVO_EXPORT(name) extern "C" __attribute__((export_name(#name)))

namespace kovo::tryout {
namespace {

using check::CheckOptions;
using check::Json;
using check::TriggerSource;

constexpr char kFileName[] = "kovo.txt";

/// The logs that the page has opened, and their timeline, whose texts point into them.
struct Logs {
  check::LogParts parts;
  check::EventLog events;
  check::MainLog main_log;
  check::Timeline timeline;
};

struct Page {
  std::string input;
  std::string output;
  Definition definition;
  bool latin1 = false;  // the file's text
  StatusVars status;
  bool status_complete = false;
  unsigned products = check::kAnyProduct;
  Logs logs;
  TrialDevice device = started_device(check::variants_of(check::kAnyProduct).front(), 0);
};

Page page;

/// Returns what the page wrote to kovo_input.
std::string_view input_text(std::size_t size) {
  return truncated(page.input, size);
}

std::string utf8_of_latin1(std::string_view text) {
  std::string utf8;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if (byte >= 0x80) utf8 += static_cast<char>(0xC0 | (byte >> 6));
    utf8 += static_cast<char>(byte < 0x80 ? byte : 0x80 | (byte & 0x3F));
  }
  return utf8;
}

/// Returns the Latin-1 letters of a text in one byte each; others stay as they are.
std::string latin1_of_utf8(std::string_view text) {
  std::string latin1;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    const bool is_latin1 = (byte == 0xC2 || byte == 0xC3) && at + 1 < text.size();
    latin1 += static_cast<char>(is_latin1 ? (byte << 6 & 0xC0) | (text[++at] & 0x3F) : byte);
  }
  return latin1;
}

/// Converts all texts, so that a name of a Latin-1 file reaches the page and comes back as it is.
void convert_texts(Json& json, std::string (*convert)(std::string_view)) {
  if (json.is_string()) json = convert(json.get_ref<const std::string&>());
  if (!json.is_structured()) return;
  for (Json& part : json) convert_texts(part, convert);
}

Json input_json(std::size_t size) {
  Json json = Json::parse(input_text(size));
  if (page.latin1) convert_texts(json, latin1_of_utf8);
  return json;
}

/// Keeps a JSON text for kovo_output. `of_file`: its texts are those of the file.
std::size_t answer(Json json, bool of_file = true) {
  if (page.latin1 && of_file) convert_texts(json, utf8_of_latin1);
  page.output = json.dump(-1, ' ', false, Json::error_handler_t::replace);
  return page.output.size();
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
  Json outcomes = Json::array();
  for (const StepOutcome& step : run.steps) {
    outcomes.push_back(
        {{"leaves_ms", step.leaves_ms}, {"sent", step.why_not.empty()}, {"why", step.why_not}});
  }
  return {{"event", check::event_json(kFileName, event)},
          {"raised_ms", run.raised_ms},
          {"starts_ms", run.starts_ms},
          {"runs", run.why_not.empty()},
          {"why", run.why_not},
          {"outcomes", outcomes}};
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
  return {{"triggers", reaction.triggers},
          {"runs", runs},
          {"notes", notes},
          {"events_enabled", page.device.events_enabled}};
}

/// Returns the bytes of a payload as it was typed; nothing when they are not hexadecimal as
/// declared.
std::optional<std::string> typed_bytes(const Json& typed) {
  const std::string text = typed.value("payload", "");
  return typed.value("form", "") == "hex" ? check::bytes_of_hex(text) : check::bytes_of_text(text);
}

/// Replaces a typed payload of a step by its Data value. Returns what is wrong with it.
std::string encode_payload(Json& step) {
  if (!step.contains("payload")) return {};
  const std::optional<std::string> bytes = typed_bytes(step);
  if (!bytes) return "write two hexadecimal digits for each byte, as in 4F 4B 0D";
  if (bytes->empty()) return "enter a payload";
  step["data"] = check::as_hex(*bytes);
  step.erase("payload");
  return {};
}

/// Returns the bytes that the daemon sends, in hexadecimal, and placeholders as they are.
std::string sent_bytes(std::string payload) {
  payload = unescape_controls(std::move(payload));
  const std::string_view left = payload;
  std::string shown;
  std::size_t done = 0;
  for (const check::Placeholder& each : check::placeholders(payload)) {
    const std::size_t end = each.at + each.name.size() + 4;  // with the braces
    shown += check::as_hex(left.substr(done, each.at - done), " ") + " " +
             check::escaped(left.substr(each.at, end - each.at)) + " ";
    done = end;
  }
  return shown + check::as_hex(left.substr(done), " ");
}

/// Returns the errors and warnings that edits would add to the file.
Json added_findings(const Edits& edits) {
  const std::string text = check::with_edits(page.definition.text, edits.list);
  const CheckOptions options = options_of_page();
  std::set<std::string> before;
  for (check::Finding& finding : check::check_source(page.definition.source, options)) {
    before.insert(std::move(finding.text));
  }
  Json added = Json::array();
  for (const check::Finding& finding : check::check_source(check::read_source(text), options)) {
    if (finding.severity == check::Severity::kNote || before.count(finding.text) > 0) continue;
    added.push_back({{"severity", check::severity_name(finding.severity)},
                     {"text", finding.text},
                     {"hint", finding.hint}});
  }
  return added;
}

// By TriggerCause.
constexpr const char* kCauseNames[] = {"variable", "variable", "setting",
                                       "playback", "start",    "display"};

}  // namespace

/// Returns a buffer for `size` bytes of input.
KOVO_EXPORT(kovo_input) char* kovo_input(std::size_t size) {
  page.input.resize(size);
  return page.input.data();
}

KOVO_EXPORT(kovo_output) const char* kovo_output() {
  return page.output.data();
}

/// Sets the definition file; `latin1` is not 0 when its text is not UTF-8.
KOVO_EXPORT(kovo_set_definition) void kovo_set_definition(std::size_t size, int latin1) {
  page.latin1 = latin1 != 0;
  page.definition.text = input_text(size);
  page.definition.source = check::read_source(page.definition.text);
}

/// Sets the status: "values", pairs of name and value. "complete": all other placeholders are
/// replaced by nothing.
KOVO_EXPORT(kovo_set_status) void kovo_set_status(std::size_t size) {
  const Json json = Json::parse(input_text(size));
  page.status = json.value("values", StatusVars());
  page.status_complete = json.value("complete", false);
}

/// Reads a copy of a device's status, as kovocheck --status does. Answers the pairs, or the error.
KOVO_EXPORT(kovo_read_status) std::size_t kovo_read_status(std::size_t size) {
  StatusVars status;
  const std::string error = check::parse_status(input_text(size), status);
  if (!error.empty()) status.clear();
  return answer({{"values", status}, {"error", error}}, false);
}

/// Starts a device of a product; "" for any, which has the mapping rows of an unknown product.
KOVO_EXPORT(kovo_start_device) void kovo_start_device(std::size_t size, double booted_ms) {
  const unsigned product = check::product_of(input_text(size));
  page.products = product == 0 ? check::kAnyProduct : product;
  const Settings settings = page.device.settings;  // they are persistent
  page.device = started_device(check::variants_of(page.products).front(),
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
  return answer(check::report_json({file}));
}

/// Returns the events of kovo_report.
KOVO_EXPORT(kovo_events) std::size_t kovo_events() {
  Json json = Json::array();
  for (const check::ExplainedEvent& event :
       check::explain(page.definition.source, page.products, values_of_page())) {
    json.push_back(check::event_json(kFileName, event));
  }
  return answer(std::move(json));
}

/// Returns the payloads as typed text, each with its line.
KOVO_EXPORT(kovo_payload_texts) std::size_t kovo_payload_texts() {
  Json json = Json::array();
  std::size_t position = 0;
  for (const DefinitionEntry& entry : page.definition.source.entries) {
    const std::uint32_t line = page.definition.source.entry_lines[position++];
    if (entry.parts != 2 || entry.field != "Data" || entry.value.empty()) continue;
    json.push_back({{"line", page.definition.source.lines[line].number},
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
    triggers.push_back({{"trigger", source.trigger},
                        {"cause", kCauseNames[static_cast<std::size_t>(source.cause)]},
                        {"name", source.name}});
  }
  return answer(json);
}

/// Processes a text to port 2700, a message to port 2727 or a status line to port 2728; for port 0
/// it raises a trigger, as a program does.
KOVO_EXPORT(kovo_message)
std::size_t kovo_message(std::size_t size, int port, double ms, double local_s) {
  const Moment now{static_cast<std::int64_t>(ms), static_cast<std::int64_t>(local_s)};
  const std::string_view text = input_text(size);
  Reaction reaction{{std::string(text)}, {}};
  if (port == kCommandPort) reaction = process_trigger_text(page.device, text);
  if (port == kVariablePort) reaction = process_message(page.device, text, now);
  if (port == kStatusPort) reaction = process_status_line(page.device, text, now);
  const bool by_name = port == 0 || port == kCommandPort;
  return answer(raise_all(reaction, by_name ? RaisedBy::kName : RaisedBy::kDevice, now));
}

/// Returns the bytes of a typed payload ("payload" and "form", which is text or hex), and what is
/// wrong with them or odd about them.
KOVO_EXPORT(kovo_typed) std::size_t kovo_typed(std::size_t size) {
  Json typed = input_json(size);
  const std::string text = typed.value("payload", "");
  const bool is_text = typed.value("form", "") != "hex";
  const std::string bytes = typed_bytes(typed).value_or("");
  return answer({{"bytes", sent_bytes(bytes)},
                 {"hex", check::as_hex(bytes, " ")},
                 {"text", check::text_of_bytes(bytes)},
                 {"code", is_text ? check::find_unread_code(text) : ""},
                 {"looks_like_hex", is_text && check::looks_like_hex(text)},
                 {"error", encode_payload(typed)}});
}

/// Returns the form of an event, see event_form.h.
KOVO_EXPORT(kovo_form) std::size_t kovo_form(std::size_t size) {
  return answer(read_form(page.definition.source, input_text(size)));
}

/// Returns the edits of a change of an event, see step_edits.h, and the findings that they would
/// add to the file. The payload of a step is typed, as for kovo_typed.
KOVO_EXPORT(kovo_edit) std::size_t kovo_edit(std::size_t size) {
  Json change = input_json(size);
  Edits edits;
  for (const char* const part : {"step", "with"}) {
    if (edits.error.empty() && change.contains(part)) edits.error = encode_payload(change[part]);
  }
  if (edits.error.empty()) edits = edit_event(page.definition, change);
  Json list = Json::array();
  for (const check::Edit& edit : edits.list) list.push_back(check::edit_json(edit));
  return answer({{"error", edits.error}, {"edits", list}, {"findings", added_findings(edits)}});
}

KOVO_EXPORT(kovo_close_logs) void kovo_close_logs() {
  page.logs = Logs();
}

/// Adds a log: its name, a newline and its text. Returns 0 for a file that is not a log.
KOVO_EXPORT(kovo_add_log) int kovo_add_log(std::size_t size) {
  const std::string_view name = until_newline(input_text(size));
  std::string text(input_text(size).substr(name.size() + 1));
  return static_cast<int>(check::add_log_part(page.logs.parts, name, std::move(text)));
}

/// Returns the last blocks of the timeline that pass a filter, as kovocheck log prints them. The
/// input has "trigger", "failed", "most", "width", and "renew": with new logs or definitions.
KOVO_EXPORT(kovo_timeline) std::size_t kovo_timeline(std::size_t size) {
  const Json wanted = input_json(size);
  auto& [parts, events, main_log, timeline] = page.logs;
  if (wanted["renew"]) {
    const std::string_view definitions = page.definition.text;
    events = {};
    main_log = {};
    check::read_log_parts(parts, events, main_log);
    timeline = check::make_timeline(events, main_log, &definitions);
  }
  const check::LogFilter filter{wanted["trigger"], {}, wanted["failed"]};
  std::vector<const check::TimelineBlock*> passing;
  std::set<std::string> triggers;
  for (const check::TimelineBlock& block : timeline.blocks) {
    triggers.insert(block.trigger);
    if (check::passes(filter, block)) passing.push_back(&block);
  }
  const std::size_t width = wanted["width"];
  const std::size_t earlier =
      passing.size() - std::min<std::size_t>(passing.size(), wanted["most"]);
  Json blocks = Json::array();
  std::string day;
  for (std::size_t at = earlier; at < passing.size(); ++at) {
    const check::TimelineBlock& block = *passing[at];
    blocks.push_back({{"text", check::block_text(block, width, day)},
                      {"event", block.event},
                      {"trigger", block.trigger},
                      {"failed", block.has_failed}});
  }
  return answer({{"blocks", blocks},
                 {"earlier", earlier},
                 {"triggers", triggers},
                 {"summary", check::summary_text(timeline, width, true)}});
}

}  // namespace kovo::tryout
