#include "check/check_context.h"

#include <algorithm>
#include <tuple>

#include "check/payload.h"
#include "core/text.h"

namespace kovo::check {
namespace {

auto order_of(const Finding& finding) {
  return std::tie(finding.range.line, finding.range.column, finding.rule);
}

std::vector<std::string> placeholder_names(const CheckOptions& options, const Triggers& triggers) {
  std::vector<std::string> names = {"date", "time", "uptime"};
  if (options.status == nullptr) {  // the device's status mostly has the names of its triggers
    names.insert(names.end(), triggers.suggester.names.begin(), triggers.suggester.names.end());
    return names;
  }
  for (const auto& [name, value] : *options.status) names.push_back(name);
  return names;
}

/// Finds out what is wrong with the key of an entry; nothing when the daemon acts on it.
std::optional<FaultyKey> key_fault(std::uint32_t position, const DefinitionEntry& entry) {
  if (is_known(entry) || looks_like_comment(entry.name)) return {};
  const std::string key = raw_key(entry);
  const std::string_view inner = trimmed(key);
  if (inner.size() != key.size() && !inner.empty()) return {};  // reported by "blank"
  if (const char* global = find_global_key(key)) {
    return FaultyKey{position, KeyFault::kLetterCase, {}, global};
  }
  MeantKey meant = meant_key(key);
  std::string right = text_of(meant);
  const bool is_spelled = !meant.name.empty() && meant.distance == 0;
  KeyFault fault = entry.parts == 0 ? KeyFault::kUnknown : KeyFault::kIndex;
  if (is_spelled && meant.same_case) {
    fault = KeyFault::kTruncatedName;
  } else if (is_spelled && is_known(split_definition_key(right, {}))) {
    fault = KeyFault::kLetterCase;
  }
  return FaultyKey{position, fault, std::move(meant), std::move(right)};
}

std::vector<MissingEvent> missing_events(const CheckContext& context) {
  std::unordered_map<std::string, const NamedKeys*> events;  // by lower-case name
  for_each_event(context,
                 [&](const NamedKeys& keys) { events.emplace(lower_ascii(keys.name), &keys); });
  std::vector<MissingEvent> missing;
  for (const NamedKeys& keys : context.model.names) {
    if (keys.event != nullptr || looks_like_comment(keys.name)) continue;
    if (context.truncated_names.count(std::string(keys.name)) > 0) continue;
    const auto entry =
        std::find_if(keys.entries.begin(), keys.entries.end(), [&](std::uint32_t at) {
          return entry_at(context, at).field != kCountField && is_known(entry_at(context, at));
        });
    if (entry == keys.entries.end()) continue;
    const auto similar = events.find(lower_ascii(keys.name));
    missing.push_back({keys, part_of(key_range(context, *entry), 0, keys.name.size()),
                       similar == events.end() ? nullptr : similar->second});
  }
  return missing;
}

CheckContext make_context(const Source& source, const Model& model, const CheckOptions& options) {
  CheckContext context{source, model, options, make_triggers(options.products)};
  context.known = known_values(options.status).values;
  for (const auto& [name, value] : context.known.status_vars) context.in_status.insert(name);
  context.placeholders = make_suggester(placeholder_names(options, context.triggers));
  std::vector<std::string> names;
  for_each_event(context, [&](const NamedKeys& keys) {
    names.emplace_back(keys.name);
    context.found_by_trigger.emplace(keys.event->trigger, &keys);
  });
  std::sort(names.begin(), names.end());
  context.event_names = make_suggester(std::move(names));
  for (std::uint32_t at = 0; at < source.entries.size(); ++at) {
    std::optional<FaultyKey> faulty = key_fault(at, source.entries[at]);
    if (!faulty) continue;
    if (faulty->fault == KeyFault::kTruncatedName)
      context.truncated_names.insert(faulty->meant.name);
    context.faulty_keys.push_back(std::move(*faulty));
  }
  context.missing_events = missing_events(context);
  return context;
}

}  // namespace

const char* severity_name(Severity severity) {
  if (severity == Severity::kError) return "error";
  return severity == Severity::kWarning ? "warning" : "note";
}

bool can_have(const RuleInfo& rule, Severity severity) {
  return rule.has_third || rule.severity == severity || rule.other == severity;
}

std::string severities_text(const RuleInfo& rule) {
  std::string text;
  for (const Severity severity : {Severity::kError, Severity::kWarning, Severity::kNote}) {
    if (!can_have(rule, severity)) continue;
    text += (text.empty() ? "" : ", ") + std::string(severity_name(severity));
  }
  return text;
}

std::size_t count_of(const Findings& findings, Severity severity) {
  const auto has_it = [=](const Finding& finding) { return finding.severity == severity; };
  return static_cast<std::size_t>(std::count_if(findings.begin(), findings.end(), has_it));
}

std::size_t find_rule(std::string_view name) {
  const auto found = std::find_if(std::begin(kRules), std::end(kRules),
                                  [=](const RuleInfo& rule) { return rule.name == name; });
  return static_cast<std::size_t>(found - std::begin(kRules));
}

Findings check_source(const Source& source, const CheckOptions& options) {
  const Model model = make_model(source.definitions);
  CheckContext context = make_context(source, model, options);
  for (std::size_t at = 0; at < kRuleCount; ++at) {
    if (options.disabled[at]) continue;
    // No line is read as it looks.
    const bool has_lines = source.mark != ByteOrderMark::kUtf16 && source.cr_only.count == 0;
    if (!has_lines && kRules[at].check != check_line_end) continue;
    context.rule = &kRules[at];
    context.rule->check(context);
  }
  std::stable_sort(context.findings.begin(), context.findings.end(),
                   [](const Finding& a, const Finding& b) { return order_of(a) < order_of(b); });
  return std::move(context.findings);
}

void add_finding(CheckContext& context, Severity severity, const SourceRange& range,
                 std::string text, std::string hint, std::optional<std::string> fix,
                 std::vector<Edit> also) {
  if (context.findings.size() >= kMaxFindings) return;
  const bool raised = context.options.strict && severity == Severity::kWarning;
  context.findings.push_back({context.rule, raised ? Severity::kError : severity, range,
                              std::move(text), std::move(hint), std::move(fix), std::move(also)});
}

void add_finding(CheckContext& context, const SourceRange& range, std::string text,
                 std::string hint, std::optional<std::string> fix, std::vector<Edit> also) {
  add_finding(context, context.rule->severity, range, std::move(text), std::move(hint),
              std::move(fix), std::move(also));
}

const DefinitionEntry& entry_at(const CheckContext& context, std::uint32_t entry) {
  return context.source.entries[entry];
}

SourceRange key_range(const CheckContext& context, std::uint32_t entry) {
  const SourceLine& line = context.source.lines[context.source.entry_lines[entry]];
  const std::string_view key = line.text.substr(0, line.text.find('='));
  return {line.number, line.column, static_cast<std::int32_t>(key.size())};
}

SourceRange value_range(const CheckContext& context, std::uint32_t entry) {
  const SourceLine& line = context.source.lines[context.source.entry_lines[entry]];
  const SourceRange key = key_range(context, entry);
  const auto length = static_cast<std::int32_t>(line.text.size()) - key.length - 1;
  return {line.number, key.column + key.length + 1, length};
}

SourceRange part_of(const SourceRange& range, std::size_t from, std::size_t length) {
  return {range.line, range.column + static_cast<std::int32_t>(from),
          static_cast<std::int32_t>(length)};
}

StepValue step_value(const CheckContext& context, std::uint32_t position) {
  const DefinitionEntry& entry = context.source.entries[position];
  std::uint32_t index = 0;
  read_index(entry, index);
  return {entry, value_range(context, position), step_text(index, entry.name), line_text(entry)};
}

std::string step_text(std::uint32_t index, std::string_view name) {
  return "step " + std::to_string(index) + " of " + shown(name);
}

SourceRange event_range(const CheckContext& context, const NamedKeys& keys) {
  return part_of(key_range(context, keys.counts.front()), 0, keys.name.size());
}

std::string line_of(const CheckContext& context, std::uint32_t entry) {
  return "line " + std::to_string(key_range(context, entry).line);
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

std::string line_text(const DefinitionEntry& entry) {
  return key_text(entry) + "=" + shown(entry.value);
}

bool is_generic_events(const NamedKeys& keys) {
  return keys.name == "GenericEvents" && keys.steps.empty();
}

bool looks_like_comment(std::string_view text) {
  text = trimmed(text);
  return !text.empty() && (text.front() == '#' || text.front() == ';' || text.substr(0, 2) == "//");
}

}  // namespace kovo::check
