#include "check/rules.h"

#include <algorithm>
#include <tuple>

#include "check/payload.h"
#include "frame/text.h"

namespace kovo::check {
namespace {

constexpr RuleInfo kRules[] = {
    {"no-equals", Severity::kWarning, "a line that holds no \"=\" is not read"},
    {"long-line", Severity::kError, "a line over 2047 bytes is read as several"},
    {"line-end", Severity::kError,
     "carriage returns and a byte order mark become part of values and of the first key; a zero "
     "byte ends its line"},
    {"blank", Severity::kWarning, "blanks around a key or a value are part of it"},
    {"unknown-key", Severity::kWarning, "a key that the daemon does not read"},
    {"letter-case", Severity::kError, "a key that would be read in another letter case"},
    {"no-count", Severity::kError,
     "the keys of an event that does not exist, since it has no positive Count"},
    {"count", Severity::kError,
     "a Count that is no number, negative, above 128, or followed by text"},
    {"index", Severity::kError, "a step index at or beyond the Count, or none at all"},
    {"cut-name", Severity::kError, "an event name that is cut at a field word inside of it"},
    {"protocol", Severity::kError, "a step whose Protocol is missing or names no sender, or both"},
    {"address", Severity::kError,
     "a step whose address is missing, no dotted IPv4 address, or too long"},
    {"port", Severity::kError,
     "a step whose port is missing, no number from 1 to 65535, or followed by text"},
    {"data", Severity::kError,
     "a Data value that is not hexadecimal, missing, or of a step that does not send it"},
    {"payload", Severity::kError, "a payload over 1023 bytes or with a zero byte: it is cut"},
    {"placeholder", Severity::kError, "a placeholder that is not closed or stands for nothing"},
    {"delay", Severity::kError, "a Delay that is no number, negative, or followed by text"},
    {"delay-order", Severity::kWarning,
     "step delays out of order or with gaps, so that they do not add up"},
    {"never-runs", Severity::kError, "an event delay of 60 s or more: it is dropped before"},
    {"duplicate-key", Severity::kWarning, "the same key again: the last one counts"},
    {"same-trigger", Severity::kError, "a trigger that an earlier event has already"},
    {"builtin-trigger", Severity::kWarning,
     "the XMLfield of a built-in event that a later Delay line sets back"},
    {"variable-name", Severity::kError, "a trigger that is the name of a device variable"},
    {"trigger", Severity::kNote, "a trigger that nothing on the device raises by itself"},
    {"no-effect", Severity::kNote, "a global key that the daemon does not act on"},
    {"display-period", Severity::kNote,
     "display-connection events are skipped in the first 120 s after boot"},
};
static_assert(std::size(kRules) == kRuleCount);

auto order_of(const Finding& finding) {
  return std::tie(finding.place.line, finding.place.column, finding.rule);
}

/// What was asked for, in the order of the lines.
Findings arranged(Findings found, const CheckOptions& options) {
  Findings findings;
  for (Finding& finding : found) {
    if (options.disabled[static_cast<std::size_t>(finding.rule)]) continue;
    if (options.strict && finding.severity == Severity::kWarning) {
      finding.severity = Severity::kError;
    }
    findings.push_back(std::move(finding));
  }
  std::stable_sort(findings.begin(), findings.end(),
                   [](const Finding& a, const Finding& b) { return order_of(a) < order_of(b); });
  return findings;
}

std::vector<std::string> placeholder_names(const CheckOptions& options, const Triggers& triggers) {
  std::vector<std::string> names = {"date", "time", "uptime"};
  if (options.status == nullptr) {  // the device's status mostly has the names of its triggers
    names.insert(names.end(), triggers.speller.names.begin(), triggers.speller.names.end());
    return names;
  }
  for (const auto& [name, value] : *options.status) names.push_back(name);
  return names;
}

}  // namespace

const RuleInfo& rule_info(Rule rule) {
  return kRules[static_cast<std::size_t>(rule)];
}

const char* severity_name(Severity severity) {
  if (severity == Severity::kError) return "error";
  return severity == Severity::kWarning ? "warning" : "note";
}

std::size_t count_of(const Findings& findings, Severity severity) {
  const auto has_it = [=](const Finding& finding) { return finding.severity == severity; };
  return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(), has_it));
}

bool find_rule(std::string_view name, Rule& rule) {
  for (std::size_t at = 0; at < kRuleCount; ++at) {
    if (name != kRules[at].name) continue;
    rule = static_cast<Rule>(at);
    return true;
  }
  return false;
}

Findings check_source(const Source& source, const CheckOptions& options) {
  const Model model = make_model(source.definitions);
  Checking checking{source, model, options, make_triggers(options.products)};
  checking.known = known_values(options.status).values;
  for (const auto& [name, value] : checking.known.status_vars) checking.in_status.insert(name);
  for (const std::uint32_t position : model.in_event_order) {
    checking.event_names.names.emplace_back(model.names[position].name);
  }
  checking.placeholders.names = placeholder_names(options, checking.triggers);
  check_lines(checking);
  if (source.mark != ByteOrderMark::kUtf16) {  // nothing in it is what it looks like
    check_keys(checking);
    check_events(checking);
    check_triggers(checking);
    check_steps(checking);
  }
  return arranged(std::move(checking.findings), options);
}

Finding& tell(Checking& checking, Rule rule, const Place& place, std::string text,
              std::string hint) {
  Finding finding{rule,        rule_info(rule).severity, place, std::move(text), std::move(hint),
                  std::nullopt};
  if (checking.findings.size() >= kMaxFindings) return checking.not_kept = std::move(finding);
  checking.findings.push_back(std::move(finding));
  return checking.findings.back();
}

Place key_place(const Checking& checking, std::uint32_t entry) {
  const SourceLine& line = checking.source.lines[checking.source.entry_lines[entry]];
  const std::string_view key = line.text.substr(0, line.text.find('='));
  return {line.number, line.column, static_cast<std::int32_t>(key.size())};
}

Place value_place(const Checking& checking, std::uint32_t entry) {
  const SourceLine& line = checking.source.lines[checking.source.entry_lines[entry]];
  const Place key = key_place(checking, entry);
  const auto length = static_cast<std::int32_t>(line.text.size()) - key.length - 1;
  return {line.number, key.column + key.length + 1, length};
}

Place part_of(const Place& place, std::size_t from, std::size_t length) {
  return {place.line, place.column + static_cast<std::int32_t>(from),
          static_cast<std::int32_t>(length)};
}

StepValue step_value(const Checking& checking, std::uint32_t position) {
  const DefinitionEntry& entry = checking.source.entries[position];
  std::uint32_t index = 0;
  read_index(entry, index);
  return {entry, value_place(checking, position), step_text(index, entry.name),
          key_text(entry) + "=" + shown(entry.value)};
}

std::string step_text(std::uint32_t index, std::string_view name) {
  return "step " + std::to_string(index) + " of " + shown(name);
}

Place event_place(const Checking& checking, const NamedKeys& keys) {
  return part_of(key_place(checking, keys.counts.front()), 0, keys.name.size());
}

std::string line_of(const Checking& checking, std::uint32_t entry) {
  return "line " + std::to_string(key_place(checking, entry).line);
}

std::string raw_key(const DefinitionEntry& entry) {
  return without_index(entry).append(entry.index);
}

std::string without_index(const DefinitionEntry& entry) {
  return std::string(entry.name).append(entry.field);
}

std::string key_text(const DefinitionEntry& entry) {
  return shown(raw_key(entry));
}

bool is_generic_events(const NamedKeys& keys) {
  return keys.name == "GenericEvents" && keys.steps.empty();
}

bool looks_like_comment(std::string_view text) {
  text = trimmed(text);
  return !text.empty() && (text.front() == '#' || text.front() == ';' || text.substr(0, 2) == "//");
}

}  // namespace kovo::check
