// Each rule speaks where it must and is silent where it may not.
#include "check/rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <regex>

#include "check/fixes.h"
#include "engine/event_rules.h"
#include "tests/check/texts.h"

namespace kovo::check {
namespace {

struct RuleCase {
  const char* rule;
  std::string bad;    // lines that replace those of a good event, or are added to it
  const char* where;  // "line:column severity"
  const char* hint;   // a part of it
  std::string good;
};

// The good event: 1 ACount, 2 AXMLfield, 3 AProtocol0, 4 AIP0, 5 APort0, 6 AData0, 7 ADelay0.
const RuleCase kCases[] = {
    {"no-equals", "ADelay: 1", "8:1 warning", "write ADelay=1", "\n"},
    {"long-line", std::string(2048, 'x'), "8:2048 error", "shorten", std::string(2047, 'x')},
    {"line-end", std::string("\0", 1), "8:1 error", "zero", "B=\\0"},
    {"blank", "ADelay = 1", "8:7 warning", "write ADelay=1", "EnableEvents= true"},
    {"blank", "AIP0=10.0.0.7\t", "4:14 warning", "write AIP0=10.0.0.7", "AXMLfield= x "},
    {"unknown-key", "EnableEvnts=true", "8:1 warning", "EnableEvents", "EnableEvents=true"},
    {"unknown-key", "ACount1=1", "8:1 warning", "write ACount", "ADelay=1"},
    {"letter-case", "aDelay=1\naPort1=1", "8:1 error", "write A in place of a", "Description=x"},
    {"no-count", "BIP3=10.0.0.7", "8:1 error", "BCount=4", "BIP3=10.0.0.7\nBCount=4"},
    {"no-count", "PowerOnCount=0\nPowerOnDelay=1", "9:1 note", "", "PowerOnCount=0"},
    {"count", "ACount=129", "1:8 error", "at most 128", "ACount=128\nBCount= 2"},
    {"count", "ACount=1.5", "1:8 error", "ACount=1", "ACount=01"},
    {"index", "ACount=2\nAPort2=1\nAPort1=1\nAPort0x=1", "8:1 error", "ACount=3", "A=0"},
    {"index", "APort=1", "8:1 error", "APort0", "APort00=1"},
    {"index", "APortx=1", "8:6 error", "number from 0", "ADelay=1"},
    {"index", "APort128x=1", "8:6 error", "number from 0", "ADelay=1"},
    {"cut-name", "DataHallData0=41", "8:1 error", "no field word", "MyIPlayCount=1"},
    {"protocol", "AProtocol0=TCPstatus", "3:12 warning", "TCPStatus", "AProtocol0=xUDP"},
    {"protocol", "ACount=3", "1:8 error", "ACount=1", "AProtocol0=TCPStatus"},
    {"address", "AIP0=\"10.0.0.7:80\"", "4:6 error", "write 10.0.0.7, and", "AIP0=255.0.0.255"},
    {"address", "AIP0=" + std::string(64, '1'), "4:6 error", "numbers", "AIP0=1.1.1.1"},
    {"port", "APort0=65536", "5:8 error", "1 to 65535", "APort0=65535"},
    {"port", "APort0=0", "5:8 error", "1 to 65535", "APort0=1"},
    {"data", "AData0=\"0x4F,0x4E\"", "6:8 error", "write AData0=4F4E;", "AData0=4a4B"},
    {"payload", "AData0=414200", "6:12 error", "without", "AData0=414230"},
    {"placeholder", "AData0=7B7B7D7D", "6:8 error", "name", "AData0=7B7D7D7D"},
    {"placeholder", "AData0=7B7B20787D7D", "6:12 error", "{{x}}", "AData0=7B7B54494D457D7D"},
    {"delay", "ADelay0=2147483648", "7:9 error", "milliseconds", "ADelay0=2147483647"},
    {"delay", "ADelay0=2 s", "7:9 error", "write ADelay0=2000", "ADelay0=2000"},
    {"delay", "ADelay=-1", "8:8 error", "seconds", "ADelay=0"},
    {"delay-order", "ACount=2\nADelay0=5\nAIP1=", "8:1 warning", "every", "ACount=2\nADelay1=5"},
    {"never-runs", "ADelay=60", "8:8 error", "below 60", "ADelay=59"},
    {"duplicate-key", "ADelay0=0\nADelay00=0", "8:1 warning", "remove", "ADelay=0"},
    {"same-trigger", "nameCount=1", "8:1 error", "steps of name to A", "muteCount=1"},
    {"builtin-trigger", "PowerOnCount=1\nPowerOnXMLfield=mute\nPowerOnDelay=1", "9:1 warning",
     "behind PowerOnDelay", "PowerOnCount=1\nPowerOnXMLfield=PowerOn"},
    {"variable-name", "AXMLfield=device_name", "2:11 error", "write name", "AXMLfield=name"},
    {"variable-name", "AXMLfield=WPA_EAP_MODE", "2:11 error", "p8021enable or p8021status", ""},
    {"trigger", "AXMLfield=audioMulticastAddr", "2:11 note", "", "AXMLfield=stream"},
    {"trigger", "AXMLfield=a=b", "2:11 warning", "holds no", "AXMLfield=webEnabled"},
    {"no-effect", "FastCableDetectEvents=false", "8:1 note", "", "EnableEvents=true"},
    {"no-effect", "DataEncode=ASCII", "8:1 note", "HEX", "DataEncode=HEX"},
    {"no-effect", "GenericEventsCount=1", "8:1 note", "Count=0", "GenericEventsCount=0"},
    {"display-period", "dviconnectedCount=1", "8:1 note", "", "DVICount=1"},
};

/// "line:column severity text = hint" of each.
std::string said(const Findings& findings) {
  std::ostringstream text;
  for (const Finding& finding : findings) {
    text << finding.range.line << ":" << finding.range.column << " "
         << severity_name(finding.severity) << " " << finding.text << " = " << finding.hint << "\n";
  }
  return text.str();
}

/// Fixes one finding of a file at a time and looks whether it is gone; returns how many there are.
std::size_t fix_all(const std::string& text) {
  std::size_t fixes = 0;
  for (const Finding& finding : found_in(text)) {
    EXPECT_TRUE(can_have(*finding.rule, finding.severity)) << finding.rule->name;
    if (!finding.fix) continue;
    ++fixes;
    const std::string left =
        said(found_in(with_edits(text, edits_of(finding)), finding.rule->name));
    EXPECT_EQ(left.find(finding.text), std::string::npos) << left;
  }
  return fixes;
}

TEST(Rules, SpeakAtTheBadLineUntilItIsFixedAndAreSilentAtTheGoodOne) {
  std::bitset<kRuleCount> met;
  std::size_t fixes = fix_all(read_example("faulty.txt"));
  for (const RuleCase& c : kCases) {
    SCOPED_TRACE(c.rule + (" in " + c.bad));
    met.set(find_rule(c.rule));
    const std::string bad = said(found_in(good_event(c.bad), c.rule));
    EXPECT_EQ(bad.find(c.where), 0U) << bad;
    EXPECT_NE(bad.find(c.hint), std::string::npos) << bad;
    EXPECT_EQ(said(found_in(good_event(c.good), c.rule)), "") << "in " << c.good;
    fixes += fix_all(good_event(c.bad));
  }
  EXPECT_TRUE(met.all());
  EXPECT_GE(fixes, 20U);
}

TEST(Rules, KnowTheDaemonAndItsDevice) {
  const std::string event = std::regex_replace(good_event(""), std::regex("\n"), "\r\n");
  const Findings ends = found_in("\xEF\xBB\xBF" + event);
  EXPECT_EQ(ends.size(), 2U) << said(ends);
  EXPECT_NE(said(ends).find("\n1:12 error 7 lines end"), std::string::npos) << said(ends);
  const Findings defaults = found_in(default_definitions(true));
  EXPECT_EQ(count_of(defaults, Severity::kNote), defaults.size()) << said(defaults);
  EXPECT_TRUE(read_number("-2147483648").in_range && !read_number("-2147483649").in_range);

  // The fix of the blanks would show an error whose own fix shows another one.
  const std::regex data("AData0=41");
  EXPECT_EQ(apply_fixes(std::regex_replace(good_event(""), data, "AData0 = 4,1"), {}).fixes, 2U);
  EXPECT_EQ(apply_fixes(std::regex_replace(good_event(""), data, "AData0 = 41,00"), {}).fixes, 0U);

  const auto duplicates = [](const char* text) { return found_in(text, "duplicate-key"); };
  EXPECT_TRUE(contains(said(duplicates("BCount=0\nBCount=1\n")), "only one of them makes"));
  EXPECT_EQ(duplicates("DataEncode=HEX\nDataEncode=HEX\n").size(), 1U);
  EXPECT_TRUE(duplicates("BCount=1\nBIP5=1\nBIP5=1\n").empty());

  const StatusVars status = {{"inputName", std::string(1100, 'x')}, {"zero", ""}};
  const CheckOptions options{kAnyProduct, &status, false, {}};
  const std::string text =
      good_event("AData0=" + as_hex("{{inptName}}{{zero}}{{Date}}{{inputName}}"));
  EXPECT_EQ(said(found_in(text, "placeholder", options)),
            "6:12 error \"{{inptName}}\" disappears: the status has no such name = did you mean "
            "{{inputName}}?\n");
  EXPECT_EQ(found_in(text, "payload", options).size(), 1U) << "it is too long";
}

TEST(Rules, HaveSectionsWhoseExamplesAreTrue) {
  const std::string page = read_example("../rules.md");
  std::size_t size = page.find("\n## ");
  for (const RuleInfo& rule : kRules) {
    SCOPED_TRACE(rule.name);
    const RuleExample example = rule_example(rule.name);
    EXPECT_FALSE(found_in(file_of(example, example.bad), rule.name).empty());
    EXPECT_EQ(said(found_in(file_of(example, example.good))), "");
    const std::string section = "\n" + rule_section(rule.name);
    EXPECT_EQ(page.substr(size, section.size()), section) << "check/rules/document writes it";
    size += section.size();
  }
  EXPECT_EQ(page.size(), size);
  EXPECT_TRUE(contains(page, std::regex_replace(kExampleEvent, std::regex("[^\n]+"), "    $&")));
}

TEST(Timing, GrowsWithTheLinesAlone) {
  const auto seconds_for = [](int events) {
    std::string text;
    for (int n = 0; n < events; ++n) {
      text += std::regex_replace(
          "Ev@Count=1\nEv@XMLfield=nmae@\nEv@Protcol0=UDP\nEv@IP0=host\nEv@Port0=70000\nEv@Data0="
          "446F6F72{{\nEv@Data0=7B7B6E6D61657D7D\nEvDelay@=5\nXEv@Delay=1\ncomment\n",
          std::regex("@"), std::to_string(n));
    }
    const std::clock_t start = std::clock();
    EXPECT_FALSE(found_in(text).empty());
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
  };
  const double small = std::min({seconds_for(1000), seconds_for(1000), seconds_for(1000)});
  EXPECT_LT(std::min(seconds_for(4000), seconds_for(4000)), 10 * small) << "16 if it were not";
}

}  // namespace
}  // namespace kovo::check
