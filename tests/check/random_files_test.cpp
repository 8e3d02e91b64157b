// What the checker says of random files, held against what the daemon makes of them.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "check/explain.h"
#include "check/keys.h"
#include "check/payload.h"
#include "definitions/event_compiler.h"
#include "frame/text.h"
#include "tests/check/texts.h"

namespace kovo::check {
namespace {

using Lines = std::vector<std::string>;
using Random = std::mt19937;

template <std::size_t Size>
std::string one_of(Random& random, const char* const (&texts)[Size]) {
  return texts[random() % Size];
}

/// A file of a few events, most of its lines right; the more `wildness`, the fewer.
Lines random_file(Random& random, unsigned wildness) {
  constexpr const char* kNames[] = {"Door", "Gate", "PowerOn", "MyPort", "DVIConnected", "door"};
  constexpr const char* kTriggers[] = {"name", "mute", "stream", "sysName", "DEVICE_NAME", "x"};
  constexpr const char* kWild[] = {"0",  "-1", "2x", "udp", "41\r", "4",   "",
                                   "99", "{{", "=",  " 1 ", "TCP",  "129", "00"};
  constexpr const char* kFields[] = {"Protocol", "IP", "Port", "Data", "Delay"};
  constexpr const char* kKeys[] = {"Count", "Delay", "XMLfield", "Port9",
                                   "IP",    "port0", "Data1",    ""};
  Lines lines;
  for (auto events = 1 + random() % 3; events > 0; --events) {
    const std::string name = one_of(random, kNames);
    const auto steps = 1 + random() % 3;
    lines.push_back(name + "Count=" + std::to_string(steps));
    lines.push_back(name + "XMLfield=" + one_of(random, kTriggers));
    for (Random::result_type step = 0; step < steps; ++step) {
      const std::string values[] = {"UDP", "10.0.0.7", "6000", "4142", std::to_string(step * 50)};
      for (std::size_t field = 0; field < std::size(kFields); ++field) {
        lines.push_back(name + kFields[field] + std::to_string(step) + "=" + values[field]);
      }
    }
  }
  for (auto change = random() % (wildness + 1); change > 0; --change) {
    const std::size_t at = random() % lines.size();
    const std::string key = lines[at].substr(0, lines[at].find('='));
    switch (random() % 5) {
      case 0:
        lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at));
        if (lines.empty()) lines.push_back("x=");
        break;
      case 1:
        std::swap(lines[at], lines[random() % lines.size()]);
        break;
      case 2:
        lines[at] = key + "=" + one_of(random, kWild);
        break;
      case 3:
        lines.push_back(lines[at]);
        break;
      default:
        lines.push_back(one_of(random, kNames) + one_of(random, kKeys) + "=" +
                        one_of(random, kWild));
    }
  }
  return lines;
}

std::string joined(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

std::vector<EventDefinition> compiled(const Lines& lines) {
  DefinitionEntries entries;
  for (std::string line : lines) {
    if (!line.empty() && line.back() == '\r') line.pop_back();  // told for itself
    parse_definition_line(entries, line);
  }
  const CompiledEvents list = compile_events(entries);
  std::vector<EventDefinition> events;
  for (const CountLine& line : list.lines) {
    events.push_back(whole_event(list.events[line.event], line.step_count));
  }
  return events;
}

/// All that a line could have an effect on.
std::string fingerprint(const std::vector<EventDefinition>& events) {
  std::string text;
  for (const EventDefinition& event : events) {
    text += event.name + "|" + event.trigger + "|" + std::to_string(event.delay_s) + "\n";
    for (const SubCommand& step : event.commands) {
      text += step.protocol + "|" + step.ip + "|" + step.port + "|" + step.data + "|" +
              std::to_string(step.delay_ns) + "|" + std::to_string(step.delay_from_exec_ns) + "\n";
    }
  }
  return text;
}

/// The offsets are no sum of the delays; for steps that are `used` alone when that is wanted.
bool sums_differ(const EventDefinition& event, bool used) {
  std::int64_t sum = 0;
  for (const SubCommand& step : event.commands) {
    sum += step.delay_ns;
    if (used && step.protocol.empty()) continue;
    if (step.delay_from_exec_ns != sum) return true;
  }
  return false;
}

struct Truth {
  const Lines& lines;
  const std::vector<EventDefinition>& events;
  const DefinitionEntry& entry;  // of the finding's line
};

bool is_beyond(const Truth& truth) {
  std::uint32_t index = 0;
  const bool number = truth.entry.parts == 2 && read_index(truth.entry, index);
  for (const EventDefinition& event : truth.events) {
    if (number && event.name == truth.entry.name && index < event.commands.size()) return false;
  }
  return true;
}

bool has_no_event(const Truth& truth) {
  return std::none_of(truth.events.begin(), truth.events.end(),
                      [&](const EventDefinition& event) { return event.name == truth.entry.name; });
}

/// Without the earlier line the value is the same; two Count lines make two events.
bool last_one_counts(const Truth& truth, const Finding& finding) {
  const std::size_t at = finding.text.find("on line ") + 8;
  const auto earlier = static_cast<std::size_t>(std::stoi(finding.text.substr(at))) - 1;
  if (finding.text.find("two events") != std::string::npos) {
    return std::count_if(truth.events.begin(), truth.events.end(),
                         [&](const auto& event) { return event.name == truth.entry.name; }) >= 2;
  }
  if (truth.entry.field == "Count" || truth.entry.parts == 0) return true;
  Lines without = truth.lines;
  const std::string key = without[earlier].substr(0, without[earlier].find('='));
  without[earlier] = "y=";
  std::vector<EventDefinition> others = compiled(without);
  std::vector<EventDefinition> events = truth.events;
  for (auto* list : {&events, &others}) {  // what follows from the sum of delays is another matter
    for (EventDefinition& event : *list) {
      for (SubCommand& step : event.commands) step.delay_from_exec_ns = 0;
    }
  }
  return fingerprint(events) == fingerprint(others);
}

bool is_shadowed(const Truth& truth) {
  std::map<std::string, std::string> first;
  for (const EventDefinition& event : truth.events) {
    const auto [found, is_new] = first.emplace(event.trigger, event.name);
    if (!is_new && event.name == truth.entry.name && found->second != event.name) return true;
  }
  return false;
}

bool leaves_out_of_order(const Truth& truth) {
  return std::any_of(truth.events.begin(), truth.events.end(), [&](const EventDefinition& event) {
    return event.name == truth.entry.name && sums_differ(event, false);
  });
}

bool is_true(const Truth& truth, const Finding& finding) {
  switch (finding.rule) {
    case Rule::kIndex:
      return finding.severity == Severity::kWarning || is_beyond(truth);
    case Rule::kNoCount:
      return has_no_event(truth);
    case Rule::kDuplicateKey:
      return last_one_counts(truth, finding);
    case Rule::kSameTrigger:
      return is_shadowed(truth);
    case Rule::kDelayOrder:
      return leaves_out_of_order(truth);
    default:
      return true;
  }
}

bool has_rule(const Findings& findings, Rule rule) {
  return std::any_of(findings.begin(), findings.end(),
                     [=](const Finding& finding) { return finding.rule == rule; });
}

TEST(RandomFiles, FindingsAreTrueInWhatTheDaemonCompiles) {
  Random random(20);
  std::map<Rule, int> told;
  for (int round = 0; round < 4000; ++round) {
    const Lines lines = random_file(random, 6);
    const std::vector<EventDefinition> events = compiled(lines);
    const Findings findings = found_in(joined(lines));
    for (const Finding& finding : findings) {
      const std::string& line = lines[static_cast<std::size_t>(finding.place.line) - 1];
      const DefinitionEntry entry = split_key(line.substr(0, line.find('=')));
      ASSERT_TRUE(is_true({lines, events, entry}, finding)) << finding.text << "\n"
                                                            << joined(lines);
      ++told[finding.rule];
    }
    // And the other way round, where the compiled events alone show it.
    std::map<std::string, std::string> first;
    for (const EventDefinition& event : events) {
      const auto [found, is_new] = first.emplace(event.trigger, event.name);
      if (!is_new && found->second != event.name) {
        ASSERT_TRUE(has_rule(findings, Rule::kSameTrigger)) << joined(lines);
      }
      if (sums_differ(event, true)) {
        ASSERT_TRUE(has_rule(findings, Rule::kDelayOrder)) << joined(lines);
      }
    }
  }
  for (const Rule rule :
       {Rule::kIndex, Rule::kNoCount, Rule::kDuplicateKey, Rule::kSameTrigger, Rule::kDelayOrder}) {
    EXPECT_GT(told[rule], 50) << rule_info(rule).name;
  }
}

TEST(RandomFiles, WithoutFindingsEveryLineHasAnEffect) {
  Random random(21);
  int clean = 0;
  for (int round = 0; round < 6000; ++round) {
    const Lines lines = random_file(random, 2);
    if (!found_in(joined(lines)).empty()) continue;
    ++clean;
    const std::string before = fingerprint(compiled(lines));
    for (std::size_t at = 0; at < lines.size(); ++at) {
      Lines changed = lines;
      changed[at] += "1";
      ASSERT_NE(fingerprint(compiled(changed)), before) << lines[at] << " in\n" << joined(lines);
    }
  }
  EXPECT_GT(clean, 300);
}

TEST(RandomFiles, OfAnyBytesHaveFindingsInsideOfTheirLines) {
  constexpr const char* kPieces[] = {"Count=", "Data0=",     "{{",      "}}",           "=",
                                     "\n",     "\r\n",       "Delay1=", "\xEF\xBB\xBF", " ",
                                     "#",      "9999999999", "IP",      "XMLfield="};
  Random random(22);
  for (int round = 0; round < 3000; ++round) {
    std::string text;
    for (auto parts = random() % 40; parts > 0; --parts) {
      text += random() % 3 == 0 ? std::string(1 + random() % 3, static_cast<char>(random()))
                                : one_of(random, kPieces);
    }
    const std::string copy = text;
    const Source source = read_source(copy);
    for (const Finding& finding : check_source(source, {})) {
      std::size_t start = 0;
      for (int line = 1; line < finding.place.line; ++line) start = text.find('\n', start) + 1;
      const std::size_t length = until_newline(std::string_view(text).substr(start)).size();
      ASSERT_GE(finding.place.column, 1) << finding.text;
      ASSERT_LE(static_cast<std::size_t>(finding.place.column + finding.place.length) - 1, length)
          << finding.text;
      for (const char c : finding.text + finding.hint) ASSERT_TRUE(c >= ' ' && c <= '~');
    }
    explain(source, kAnyProduct, {});
  }
}

TEST(RandomFiles, HaveBoundedFindings) {
  std::string text;
  while (text.size() < 2 * (kMaxFindings + 1)) text += "x\n";
  EXPECT_EQ(found_in(text).size(), kMaxFindings);
}

TEST(RandomFiles, PlaceholdersAreCutOutAsTheDaemonDoes) {
  Random random(23);
  constexpr const char* kPieces[] = {"{", "{{", "}", "}}", "a", "time"};
  for (int round = 0; round < 3000; ++round) {
    std::string payload;
    for (auto parts = random() % 12; parts > 0; --parts) payload += one_of(random, kPieces);
    std::string without = payload;
    std::vector<Placeholder> found = placeholders(payload);
    for (auto last = found.rbegin(); last != found.rend(); ++last) {
      without.erase(last->at, last->name.size() + 4);
    }
    EXPECT_EQ(without, expand_templates({}, payload)) << payload;
  }
}

}  // namespace
}  // namespace kovo::check
