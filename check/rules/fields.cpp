// The tables of fields: those that hold a number, and those that a step needs. The daemon reads the
// digits at the start of a value, so that what follows them matters only if it says that another
// number was meant.
#include <algorithm>
#include <cctype>

#include "check/payload.h"
#include "check/rules/context.h"
#include "core/event_compiler.h"
#include "core/text.h"

namespace kovo::check {
namespace {

/// A field with a number. In its texts, {0} is the line, {1} the step, {2} the port, {3} the number
/// that the daemon reads and {4} the seconds of that many milliseconds.
struct NumberField {
  std::string_view field;
  int parts;  // of its key: 2 for a step's
  std::int32_t smallest;
  std::int32_t largest;
  Severity too_large;
  const char* unit;        // of what the daemon reads; "" for none
  std::string_view units;  // how people write it
  const char* wrong;       // what happens below the smallest and without a number
  const char* above;
  const char* advice;
};

constexpr char kWrongPort[] = "{0} is not a valid port: {1} is sent to port {2}";
constexpr char kWrongDelay[] = "{0} is not a valid delay: it is read as {3}";
constexpr std::int32_t kAnyDelay = INT32_MAX;     // "never-runs" reports 60 and more
constexpr std::int32_t kLongStepDelay = 600'000;  // ms: probably a shorter one was meant

constexpr NumberField kNumberFields[] = {
    {kCountField, 1, 0, kMaxSteps, Severity::kError, "", "",
     "{0} is not a number of steps: there is no such event", "{0} is read as 128, the maximum",
     "write the number of steps, from 1 to 128"},
    {kPortField, 2, 1, 65535, Severity::kError, "", "", kWrongPort, kWrongPort,
     "write a number from 1 to 65535"},
    {kDelayField, 1, 0, kAnyDelay, Severity::kError, "seconds", " s sec secs second seconds ",
     kWrongDelay, "", "write a whole number of seconds, from 0"},
    {kDelayField, 2, 0, kLongStepDelay, Severity::kNote, "milliseconds",
     " ms msec msecs millisecond milliseconds ", kWrongDelay, "{0} is {4} seconds",
     "write a whole number of milliseconds, from 0"},
};

/// Reports text after a number: an error only if another number was meant, or may have been.
void check_rest(CheckContext& context, const NumberField& field, std::uint32_t at,
                const ReadNumber& number) {
  const DefinitionEntry& entry = entry_at(context, at);
  const std::string value = std::to_string(number.value);
  const std::string_view rest = trimmed(number.rest);
  const bool is_comment = looks_like_comment(rest) && rest.size() > 1 &&
                          (number.rest.size() > rest.size() || !is_digits(rest.substr(1, 1)));
  const bool is_unit = contains(field.units, " " + lower_ascii(rest) + " ");
  const bool no_effect =
      is_comment || is_unit ||
      std::none_of(rest.begin(), rest.end(), [](unsigned char c) { return std::isalnum(c); });
  const std::string right = fmt::format("{}={}", key_text(entry), value);
  std::string hint = "write " + right;
  if (is_comment) hint += ", and the comment on a line without \"=\"";
  if (!no_effect) {
    hint = *field.unit == '\0' ? fmt::format("{}{}?", kGuess, right) : field.advice;
  }
  const bool has_fix = !is_comment && (no_effect || *field.unit == '\0');
  add_finding(context, no_effect ? Severity::kWarning : Severity::kError, value_range(context, at),
              fmt::format("{} is read as {}{}{}", line_text(entry), value,
                          *field.unit == '\0' ? "" : " ", field.unit),
              hint, has_fix ? std::optional(value) : std::nullopt);
}

void check_number(CheckContext& context, const NumberField& field, std::uint32_t at) {
  const DefinitionEntry& entry = entry_at(context, at);
  const ReadNumber number = read_number(entry.value);
  if (number.value == 0 && entry.value.empty() && field.field == kDelayField) return;  // as meant
  const bool is_clamped = *field.unit != '\0' && number.value == INT32_MAX;
  const bool is_large = number.value > field.largest && !is_clamped;
  if (!number.has_digits || number.value < field.smallest || is_large || is_clamped) {
    const Severity severity = is_large ? field.too_large : Severity::kError;
    add_finding(
        context, severity, value_range(context, at),
        fmt::format(fmt::runtime(is_large ? field.above : field.wrong), line_text(entry),
                    step_text(static_cast<std::uint32_t>(to_int32(entry.index)), entry.name),
                    sent_port(entry.value), number.value, number.value / 1000),
        severity == Severity::kNote ? "" : field.advice);
  } else if (!number.rest.empty()) {
    check_rest(context, field, at, number);
  }
}

void check_numbers(CheckContext& context, std::string_view name) {
  for (const NumberField& field : kNumberFields) {
    if (field.field != name) continue;
    for_each_entry(context, name, [&](std::uint32_t at) {
      if (entry_at(context, at).parts == field.parts) check_number(context, field, at);
    });
  }
}

/// A field that a step needs. In its text, {0} is the step and {1} the key.
struct NeededField {
  std::string_view field;
  std::uint32_t StepEntries::*entry;
  Severity severity;
  const char* text;
};
constexpr NeededField kNeededFields[] = {
    {kProtocolField, &StepEntries::protocol, Severity::kError, "{0} sends nothing: {1} is missing"},
    {kIpField, &StepEntries::ip, Severity::kError,
     "{0} has no address and goes to 0.0.0.0, the device itself"},
    {kPortField, &StepEntries::port, Severity::kError, "{0} has no port and is sent to port 0"},
    {kDataField, &StepEntries::data, Severity::kWarning,
     "{0} has no Data and sends an empty payload"},
};

/// Returns whether a step sends a payload, the only one that needs Data.
bool sends_payload(const StepEntries& step) {
  const std::optional<Sender> sender = choose_sender(step.compiled->protocol);
  return sender && !sender->status;
}

}  // namespace

void check_missing_field(CheckContext& context, std::string_view name) {
  for_each_step(context, [&](const NamedStep& step) {
    for (const NeededField& field : kNeededFields) {
      if (field.field != name || step.entries.*field.entry != kNoEntry) continue;
      const std::string key =
          fmt::format("{}{}{}", step.keys.name, name, step.entries.compiled->index);
      if (context.meant_keys.count(key) > 0) continue;
      if (name == kDataField && !sends_payload(step.entries)) continue;
      add_finding(context, field.severity, step.range,
                  fmt::format(fmt::runtime(field.text), step.text, shown(key)),
                  "add " + shown(key));
    }
  });
}

void check_count(CheckContext& context) {
  check_numbers(context, kCountField);
}

void check_delay(CheckContext& context) {
  check_numbers(context, kDelayField);
}

void check_port(CheckContext& context) {
  check_numbers(context, kPortField);
  check_missing_field(context, kPortField);
}

}  // namespace kovo::check
