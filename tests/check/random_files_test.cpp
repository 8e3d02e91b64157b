// What the checker says of random files, held against what the daemon makes of them.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <sstream>

#include "check/explain.h"
#include "check/keys.h"
#include "check/payload.h"
#include "definitions/event_compiler.h"
#include "tests/check/texts.h"

namespace kovo::check {
namespace {

using Lines = std::vector<std::string>;

const Lines kWild = {"0", "-1", "2x", "udp", "41 ", "", "99", "{{", "=", "TCP", "129", "00", "}}"};

std::string one_of(std::mt19937& random, const Lines& texts) {
  return texts[random() % texts.size()];
}

/// A file of a few events, most of its lines right; the more `wildness`, the fewer.
Lines random_file(std::mt19937& random, unsigned wildness) {
  const Lines kNames = {"Door", "Gate", "PowerOn", "MyPort", "DVIConnected", "door"};
  const Lines kTriggers = {"name", "mute", "stream", "sysName", "DEVICE_NAME", "x"};
  constexpr const char* kFields[] = {"Protocol", "IP", "Port", "Data", "Delay"};
  constexpr const char* kValues[] = {"=UDP", "=10.0.0.7", "=6000", "=4142", "=50"};
  const Lines kKeys = {"Count", "Delay", "XMLfield", "Port9", "IP", "port0", ""};
  Lines lines;
  for (auto events = 1 + random() % 3; events > 0; --events) {
    const std::string name = one_of(random, kNames);
    const auto steps = 1 + random() % 3;
    lines.push_back(name + "Count=" + std::to_string(steps));
    lines.push_back(name + "XMLfield=" + one_of(random, kTriggers));
    for (auto at = 0U; at < 5 * steps; ++at) {
      lines.push_back(name + kFields[at % 5] + std::to_string(at / 5) + kValues[at % 5]);
    }
  }
  const auto any = [&] { return lines.begin() + static_cast<int>(random() % lines.size()); };
  for (auto change = random() % (wildness + 1); change > 0; --change) {
    const std::string line = *any();
    std::string key = one_of(random, kNames) + one_of(random, kKeys);
    if (random() % 2 == 0) key = line.substr(0, line.find('='));
    lines.insert(any(), random() % 3 == 0 ? line : key + "=" + one_of(random, kWild));
    if (random() % 3 != 0) lines.erase(any());
  }
  return lines;
}

std::string joined(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

struct Made {
  std::vector<EventDefinition> events;
  std::set<std::string, std::less<>> shadowed;  // those whose trigger raises another one
};

Made made_of(const Lines& lines) {
  const CompiledEvents list = compile_events(parse_definitions(joined(lines)));
  std::map<std::string, std::string> first;  // by trigger
  Made made;
  for (const CountLine& line : list.lines) {
    made.events.push_back(whole_event(list.events[line.event], line.step_count));
    const EventDefinition& event = made.events.back();
    if (first.emplace(event.trigger, event.name).first->second != event.name)
      made.shadowed.insert(event.name);
  }
  return made;
}

/// All that a line could have an effect on; the offsets follow from the order of the lines too.
std::string fingerprint(const Made& made, bool offsets = true) {
  std::ostringstream text;
  for (const EventDefinition& event : made.events) {
    text << event.name << "|" << event.trigger << "|" << event.delay_s << "\n";
    for (const SubCommand& step : event.commands) {
      text << step.protocol << "|" << step.ip << "|" << step.port << "|" << step.data << "|"
           << step.delay_ns << "|" << (offsets ? step.delay_from_exec_ns : 0) << "\n";
    }
  }
  return text.str();
}

/// The offsets are no sum of the delays; for steps that are `used` alone when that is wanted.
bool sums_differ(const EventDefinition& event, bool used) {
  std::int64_t sum = 0;
  for (const SubCommand& step : event.commands) {
    sum += step.delay_ns;
    if (step.delay_from_exec_ns != sum && !(used && step.protocol.empty())) return true;
  }
  return false;
}

/// What the finding says of its line can be seen in the compiled events.
bool is_true(const Finding& finding, const Lines& lines, const Made& made) {
  const std::string& line = lines[static_cast<std::size_t>(finding.place.line) - 1];
  const DefinitionEntry entry = split_definition_key(split_key_value(line).key, {});
  std::vector<EventDefinition> own;
  for (const auto& event : made.events) {
    if (event.name == entry.name) own.push_back(event);
  }
  const auto one = [&](auto is) { return std::any_of(own.begin(), own.end(), is); };
  std::uint32_t index = 0;
  if (finding.rule == Rule::kNoCount) return own.empty();
  if (finding.rule == Rule::kSameTrigger) return made.shadowed.count(entry.name) > 0;
  if (finding.rule == Rule::kDelayOrder) return one([](auto& e) { return sums_differ(e, false); });
  if (finding.rule == Rule::kIndex && finding.severity == Severity::kError) {
    return !read_index(entry, index) || !one([&](auto& e) { return index < e.commands.size(); });
  }
  if (finding.rule != Rule::kDuplicateKey) return true;
  if (entry.field == "Count")
    return finding.text.find("two") == std::string::npos || own.size() > 1;
  Lines without = lines;  // the earlier one, and nothing is different
  without[std::stoul(finding.text.substr(finding.text.find("on line ") + 8)) - 1] = "y=";
  return fingerprint(made, false) == fingerprint(made_of(without), false);
}

TEST(RandomFiles, FindingsAreTrueInWhatTheDaemonCompiles) {
  std::mt19937 random(20);
  std::set<Rule> told;
  int clean = 0;
  for (int round = 0; round < 8000; ++round) {
    const Lines lines = random_file(random, round % 2 == 0 ? 2 : 6);
    SCOPED_TRACE(joined(lines));
    const Made made = made_of(lines);
    const Findings findings = found_in(joined(lines));
    std::set<Rule> rules;
    for (const Finding& finding : findings) {
      ASSERT_TRUE(is_true(finding, lines, made)) << finding.text;
      rules.insert(finding.rule);
    }
    // And the other way round, where the compiled events alone show it.
    ASSERT_TRUE(made.shadowed.empty() || rules.count(Rule::kSameTrigger) > 0);
    for (const EventDefinition& event : made.events) {
      ASSERT_TRUE(!sums_differ(event, true) || rules.count(Rule::kDelayOrder) > 0);
    }
    for (std::size_t at = 0; findings.empty() && at < lines.size(); ++at) {
      Lines changed = lines;
      changed[at] += "1";
      ASSERT_NE(fingerprint(made_of(changed)), fingerprint(made)) << lines[at];
    }
    clean += findings.empty() ? 1 : 0;
    told.merge(rules);
  }
  EXPECT_GT(told.size(), 15U);
  EXPECT_GT(clean, 200);
}

TEST(RandomFiles, OfAnyBytesHaveFindingsInsideOfTheirLinesAndPlaceholdersOfTheDaemon) {
  std::mt19937 random(22);
  for (int round = 0; round < 3000; ++round) {
    std::string text = joined(random_file(random, 6));
    for (auto changes = random() % 20; changes > 0; --changes) {
      const std::string byte(1, static_cast<char>(random()));
      text.insert(random() % text.size(), random() % 2 == 0 ? byte : one_of(random, kWild));
    }
    if (round % 4 == 0) text.insert(0, round % 8 == 0 ? "\xEF\xBB\xBF" : "\xEF\xBB\xBF\r\n");
    const Source source = read_source(text);
    for (const Finding& finding : check_source(source, {})) {
      const Place& place = finding.place;
      const auto end = static_cast<std::size_t>(place.column + place.length) - 1;
      const auto line = split_lines(text)[static_cast<std::size_t>(place.line) - 1];
      ASSERT_TRUE(place.column >= 1 && end <= line.size()) << finding.text << " of " << line;
      for (const char c : finding.text + finding.hint) ASSERT_TRUE(c >= ' ' && c <= '~');
    }
    explain(source, kAnyProduct, {});
    if (text.find('\\') != std::string::npos) continue;  // the daemon replaces escapes too
    std::string without = text;
    const std::vector<Placeholder> cut = placeholders(text);
    for (auto last = cut.rbegin(); last != cut.rend(); ++last) {
      without.erase(last->at, last->name.size() + 4);
    }
    ASSERT_EQ(without, expand_templates({}, text));
  }
}

}  // namespace
}  // namespace kovo::check
