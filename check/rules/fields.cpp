// The tables of fields: those that hold a number, and those that a step needs. The daemon reads the
// digits at the start of a value, so that what follows them matters only if it says that another
// number was meant.
#include <algorithm>
#include <iterator>

#include "check/payload.h"
#include "check/rules/context.h"
#include "core/event_compiler.h"
#include "core/text.h"

namespace kovo::check {
namespace {

/// A field with a number. In its texts, {0} is the line, {1} the value in quotes, {2} the step, {3}
/// the port and {4} the number of seconds that the daemon reads.
struct NumberField {
  std::string_view field;
  int parts;  // of its key: 2 for a step's
  std::int32_t smallest;
  std::int32_t largest;
  Severity too_large;
  const char* unit;       // of what the daemon reads; "" for none
  const char* no_number;  // what happens without one
  const char* below;
  const char* above;
  const char* advice;
  const char* above_advice;
};

constexpr char kNoPort[] = "{1} is not a valid port: {2} is sent to port 0";
constexpr char kWrongPort[] = "{0} is not a valid port: {2} is sent to port {3}";
constexpr std::int32_t kAnyDelay = INT32_MAX;     // "never-runs" reports 60 and more
constexpr std::int32_t kLongStepDelay = 600'000;  // ms: probably a shorter one was meant

constexpr NumberField kNumberFields[] = {
    {kCountField, 1, 0, kMaxSteps, Severity::kError, "",
     "{0} is not a number: there is no such event", "{0} is negative: there is no such event",
     "{0} is read as 128, the maximum", "write the number of steps, from 1 to 128",
     "write at most 128, and move the other steps to another event"},
    {kPortField, 2, 1, 65535, Severity::kError, "", kNoPort, kWrongPort, kWrongPort,
     "write a number from 1 to 65535", "write a number from 1 to 65535"},
    {kDelayField, 1, 0, kAnyDelay, Severity::kError, "seconds",
     "{0} is not a number: it is read as 0", "{0} is negative", "",
     "write a whole number of seconds, from 0", ""},
    {kDelayField, 2, 0, kLongStepDelay, Severity::kNote, "milliseconds",
     "{0} is not a number: it is read as 0", "{0} is negative", "{0} is {4} seconds",
     "write a whole number of milliseconds, from 0", "the Delay of a step is in milliseconds"},
};

struct Unit {
  std::string_view name;  // also with an "s" at its end
  std::int64_t milliseconds;
};
constexpr Unit kUnits[] = {
    {"ms", 1},        {"msec", 1},     {"millisecond", 1}, {"s", 1000},      {"sec", 1000},
    {"second", 1000}, {"min", 60'000}, {"minute", 60'000}, {"h", 3'600'000}, {"hour", 3'600'000}};

/// Returns how many of the field's units a number with a unit is; nothing for other texts and for
/// parts of a unit.
std::optional<std::int64_t> in_field_units(const NumberField& field, const ReadNumber& number) {
  const std::string name = lower_ascii(trimmed(number.rest));
  const auto unit = std::find_if(std::begin(kUnits), std::end(kUnits), [&](const Unit& each) {
    return name == each.name || name == std::string(each.name) + "s";
  });
  if (*field.unit == '\0' || unit == std::end(kUnits)) return {};
  const std::int64_t milliseconds = number.value * unit->milliseconds;
  const std::int64_t one = field.parts == 1 ? 1000 : 1;
  if (milliseconds % one != 0 || milliseconds / one > INT32_MAX) return {};
  return milliseconds / one;
}

/// Reports text after a number: an error only if another number was meant, or may have been.
void check_rest(CheckContext& context, const NumberField& field, std::uint32_t at,
                const ReadNumber& number) {
  const DefinitionEntry& entry = entry_at(context, at);
  const std::string value = std::to_string(number.value);
  const std::string key = key_text(entry);
  const std::string_view rest = trimmed(number.rest);
  const bool is_comment = looks_like_comment(rest) && rest.size() > 1 &&
                          (number.rest.size() > rest.size() || !is_digits(rest.substr(1, 1)));
  const std::optional<std::int64_t> meant = in_field_units(field, number);
  const bool no_effect =
      meant ? *meant == number.value
            : is_comment || std::none_of(rest.begin(), rest.end(), is_letter_or_digit);
  const std::string right = meant ? std::to_string(*meant) : value;
  std::string hint = fmt::format("write {}={}", key, right);
  std::optional<std::string> fix = right;
  if (is_comment) {
    hint += ", and the comment on a line without \"=\"";
    fix.reset();
  } else if (!meant && !no_effect) {
    hint = fmt::format("{}{}={}?", kGuess, key, right);
    if (*field.unit != '\0') {
      hint = field.advice;
      fix.reset();
    }
  }
  add_finding(context, no_effect ? Severity::kWarning : Severity::kError, value_range(context, at),
              fmt::format("{} is read as {}{}{}", line_text(entry), value,
                          *field.unit == '\0' ? "" : " ", field.unit),
              hint, fix);
}

void check_number(CheckContext& context, const NumberField& field, std::uint32_t at) {
  const DefinitionEntry& entry = entry_at(context, at);
  const ReadNumber number = read_number(entry.value);
  if (number.value == 0 && entry.value.empty() && field.field == kDelayField) return;  // as meant
  const bool is_large = number.value > field.largest;
  if (*field.unit != '\0' && number.value == INT32_MAX) {  // clamped
    add_error(context, value_range(context, at),
              fmt::format("{} is read as {} {}", line_text(entry), number.value, field.unit),
              field.advice);
  } else if (!number.has_digits || number.value < field.smallest || is_large) {
    const char* text = is_large ? field.above : field.below;
    add_finding(
        context, is_large ? field.too_large : Severity::kError, value_range(context, at),
        fmt::format(fmt::runtime(number.has_digits ? text : field.no_number), line_text(entry),
                    quoted(entry.value),
                    step_text(static_cast<std::uint32_t>(to_int32(entry.index)), entry.name),
                    sent_port(entry.value), number.value / 1000),
        is_large ? field.above_advice : field.advice);
  } else if (!number.rest.empty()) {
    check_rest(context, field, at, number);
  }
}

void check_numbers(CheckContext& context, std::string_view name) {
  for_each_entry(context, name, [&](std::uint32_t at) {
    for (const NumberField& field : kNumberFields) {
      if (field.field == name && field.parts == entry_at(context, at).parts) {
        check_number(context, field, at);
      }
    }
  });
}

/// A field that a step needs. In its texts, {0} is the step and {1} the key.
struct NeededField {
  std::string_view field;
  std::uint32_t StepEntries::*entry;
  Severity severity;
  const char* text;
  const char* hint;
};
constexpr NeededField kNeededFields[] = {
    {kProtocolField, &StepEntries::protocol, Severity::kError, "{0} sends nothing: {1} is missing",
     "add {1}=UDP or {1}=TCP"},
    {kIpField, &StepEntries::ip, Severity::kError,
     "{0} has no address and goes to 0.0.0.0, the device itself",
     "add {1}= and an address such as 10.0.0.5"},
    {kPortField, &StepEntries::port, Severity::kError, "{0} has no port and is sent to port 0",
     "add {1}= and a number from 1 to 65535"},
    {kDataField, &StepEntries::data, Severity::kWarning,
     "{0} has no Data and sends an empty payload", "add {1}= and the payload in hexadecimal"},
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
      const std::string key = fmt::format("{}{}{}", step.keys.name, name, step.number);
      if (context.meant_keys.count(key) > 0) continue;
      if (name == kDataField && !sends_payload(step.entries)) continue;
      add_finding(context, field.severity, step.range,
                  fmt::format(fmt::runtime(field.text), step.text, shown(key)),
                  fmt::format(fmt::runtime(field.hint), step.text, shown(key)));
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
