#include "check/rules.h"

#include <algorithm>
#include <tuple>

#include "check/payload.h"
#include "check/rules/context.h"
#include "core/text.h"

namespace kovo::check {
namespace {

/// Returns known names of placeholders. The device's status mostly has the names of its triggers.
std::vector<std::string> placeholder_names(const CheckOptions& options, const Triggers& triggers) {
  std::vector<std::string> names;
  if (options.status == nullptr) names = triggers.suggester.names;
  for (const auto& [name, value] : known_values(options.status).values.status_vars) {
    names.push_back(name);
  }
  names.insert(names.end(), std::begin(kClockPlaceholders), std::end(kClockPlaceholders));
  return names;
}

std::string without_index(const DefinitionEntry& entry) {
  return std::string(entry.name).append(entry.field);
}

/// Returns the key that was meant by one with a field word, but with a wrong index.
std::string with_right_index(const DefinitionEntry& entry, const MeantKey& meant) {
  std::uint32_t index = 0;
  if (entry.parts == 1) return raw_key(entry) + "0";
  if (index_of(entry.field) == Index::kForbidden) return without_index(entry);
  if (read_index(entry, index) && index < kMaxSteps) {
    return without_index(entry) + std::to_string(index);
  }
  return meant.name == entry.name ? meant.key : "";
}

/// Finds out what is wrong with the key of an entry; nothing when the daemon acts on it.
std::optional<FaultyKey> key_fault(std::uint32_t position, const DefinitionEntry& entry) {
  if (looks_like_comment(entry.name)) return {};
  const std::string key = raw_key(entry);
  const std::string_view inner = trimmed(key);
  if (inner.size() != key.size() && !inner.empty()) {
    return FaultyKey{position, KeyFault::kBlanks, {}, std::string(inner)};
  }
  if (is_known(entry)) return {};
  MeantKey meant = meant_key(key);
  std::string right = meant.key;
  const bool is_spelled = !meant.name.empty() && meant.distance == 0;
  KeyFault fault = entry.parts == 0 ? KeyFault::kUnknown : KeyFault::kIndex;
  if (is_spelled && meant.same_case) {
    fault = KeyFault::kTruncatedName;
  } else if (is_spelled && is_known(split_definition_key(right, {}))) {
    fault = KeyFault::kLetterCase;
  } else if (fault == KeyFault::kIndex) {
    right = with_right_index(entry, meant);
  }
  return FaultyKey{position, fault, std::move(meant), std::move(right)};
}

std::string similar_key(std::string_view name) {
  return lower_ascii(trimmed(name));
}

std::vector<MissingEvent> missing_events(const CheckContext& context) {
  std::unordered_map<std::string, const NamedKeys*> events;
  for_each_event(context,
                 [&](const NamedKeys& keys) { events.emplace(similar_key(keys.name), &keys); });
  std::vector<MissingEvent> missing;
  for (const NamedKeys& keys : context.model.names) {
    if (keys.event != nullptr || looks_like_comment(keys.name) || is_unsure(context, keys)) {
      continue;
    }
    if (context.meant_keys.count(std::string(keys.name).append(kCountField)) > 0) continue;
    const auto entry =
        std::find_if(keys.entries.begin(), keys.entries.end(), [&](std::uint32_t at) {
          return entry_at(context, at).field != kCountField && is_known(entry_at(context, at));
        });
    if (entry == keys.entries.end()) continue;
    const auto similar = events.find(similar_key(keys.name));
    missing.push_back({keys, part_of(key_range(context, *entry), 0, keys.name.size()),
                       similar == events.end() ? nullptr : similar->second});
  }
  return missing;
}

void find_faulty_keys(CheckContext& context) {
  for (std::uint32_t at = 0; at < context.source.entries.size(); ++at) {
    const DefinitionEntry& entry = context.source.entries[at];
    std::uint32_t index = 0;  // with blanks after it, the daemon acts on it
    const bool has_index = read_index(entry, index);
    context.keys.insert(has_index ? without_index(entry) + std::to_string(index) : raw_key(entry));
    if (entry.field == kIpField && contains(entry.value, ":")) {  // the port is there
      context.meant_keys.insert(fmt::format("{}{}{}", entry.name, kPortField, entry.index));
    }
    std::optional<FaultyKey> faulty = key_fault(at, entry);
    if (!faulty) continue;
    if (faulty->fault == KeyFault::kTruncatedName) context.unsure_names.insert(faulty->meant.name);
    if (entry.name != trimmed(entry.name)) context.unsure_names.emplace(entry.name);
    context.meant_keys.insert(faulty->right);
    context.faulty_keys.push_back(std::move(*faulty));
  }
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
  find_faulty_keys(context);
  context.missing_events = missing_events(context);
  for (const MissingEvent& missing : context.missing_events) {
    if (missing.similar != nullptr) context.unsure_names.emplace(missing.similar->name);
  }
  return context;
}

}  // namespace

const char* severity_name(Severity severity) {
  if (severity == Severity::kError) return "error";
  return severity == Severity::kWarning ? "warning" : "note";
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
    // The daemon reads no line of such a file as an editor shows it.
    const bool has_lines = source.mark != ByteOrderMark::kUtf16 && !source.cr_only;
    if (!has_lines && kRules[at].check != check_line_end) continue;
    context.rule = &kRules[at];
    context.rule->check(context);
  }
  std::stable_sort(context.findings.begin(), context.findings.end(),
                   [](const Finding& a, const Finding& b) {
                     return std::tie(a.range.line, a.range.column, a.rule) <
                            std::tie(b.range.line, b.range.column, b.rule);
                   });
  return std::move(context.findings);
}

void add_finding(CheckContext& context, Severity severity, const SourceRange& range,
                 std::string text, std::string hint, std::optional<std::string> fix,
                 std::vector<Edit> also) {
  if (context.findings.size() >= kMaxFindings) return;
  const bool raised = context.options.strict && severity == Severity::kWarning;
  context.findings.push_back({context.rule, raised ? Severity::kError : severity, range,
                              std::move(text), std::move(hint), std::move(fix), std::move(also)});
  Finding& added = context.findings.back();
  const std::string_view replaced = bytes_at(context.source, range);
  const auto is_ascii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  if (!added.fix || std::all_of(replaced.begin(), replaced.end(), is_ascii)) return;
  narrow_fix(replaced, added.range, *added.fix);  // JSON cannot hold the bytes that stay
}

void narrow_fix(std::string_view text, SourceRange& range, std::string& fix) {
  const std::size_t shorter = std::min(text.size(), fix.size());
  std::size_t start = 0;
  while (start < shorter && text[start] == fix[start]) ++start;
  std::size_t end = 0;
  while (end < shorter - start && text[text.size() - end - 1] == fix[fix.size() - end - 1]) ++end;
  fix = fix.substr(start, fix.size() - start - end);
  range = part_of(range, start, text.size() - start - end);
}

const DefinitionEntry& entry_at(const CheckContext& context, std::uint32_t entry) {
  return context.source.entries[entry];
}

void check_similar(CheckContext& context, bool in_blanks) {
  for (const auto& [keys, range, event] : context.missing_events) {
    if (event == nullptr) continue;
    const bool has_blanks = trimmed(keys.name) != keys.name || trimmed(event->name) != event->name;
    if (has_blanks != in_blanks) continue;
    add_finding(context, Severity::kError, range,
                fmt::format("{0} does not exist: the Count on {1} is for {2}", quoted(keys.name),
                            line_of(context, event->counts.front()), quoted(event->name)),
                "write the same event name in all its lines");
  }
}

Severity severity_of_missed(const CheckContext& context, const std::string& right) {
  const DefinitionEntry key = split_definition_key(right, {});
  const bool is_event = event_named(context.model, key.name) != nullptr;
  bool is_missed = is_event && context.keys.count(right) == 0;
  if (key.field == kCountField) is_missed = !is_event && context.model.by_name.count(key.name) > 0;
  return is_missed ? Severity::kError : Severity::kWarning;
}

bool is_unsure(const CheckContext& context, const NamedKeys& keys) {
  return context.unsure_names.count(std::string(keys.name)) > 0;
}

std::string raised_spelling(const CheckContext& context, std::string_view trigger) {
  const NameSuggester& known = context.triggers.suggester;
  std::string bare = lower_ascii(without_quotes(trigger));
  bare.erase(std::remove(bare.begin(), bare.end(), ' '), bare.end());
  const auto found = known.by_lower.find(bare);
  if (found == known.by_lower.end()) return {};
  const std::string& name = known.names[found->second];
  return raised_by(context.triggers, name).empty() ? std::string() : name;
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

std::string step_text(std::uint32_t index, std::string_view name) {
  return fmt::format("step {} of {}", index, shown(name));
}

SourceRange event_range(const CheckContext& context, const NamedKeys& keys) {
  return part_of(key_range(context, keys.counts.front()), 0, keys.name.size());
}

std::string line_of(const CheckContext& context, std::uint32_t entry) {
  return fmt::format("line {}", key_range(context, entry).line);
}

std::string raw_key(const DefinitionEntry& entry) {
  return without_index(entry).append(entry.index);
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
