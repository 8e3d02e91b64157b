// Each rule speaks where it must and is silent where it may not.
#include "check/rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

#include "engine/event_fate.h"
#include "tests/check/texts.h"

namespace kovo::check {
namespace {

struct RuleCase {
  const char* rule;
  std::vector<std::string> bad;  // lines that replace those of a good event, or are added to it
  const char* where;             // "line:column severity"
  const char* hint;              // a part of it
  std::vector<std::string> good;
};

// The good event: 1 ACount, 2 AXMLfield, 3 AProtocol0, 4 AIP0, 5 APort0, 6 AData0, 7 ADelay0.
const RuleCase kCases[] = {
    {"no-equals", {"ADelay: 1"}, "8:1 warning", "write ADelay=1", {""}},
    {"long-line", {std::string(2048, 'x')}, "8:2048 error", "shorten", {std::string(2047, 'x')}},
    {"line-end", {"AIP0=10.0.0.7\r"}, "4:14 error", "sed", {"AIP0=10.0.0.7"}},
    {"line-end", {"AIP0=10.0.0.7", std::string("\0", 1)}, "8:1 error", "zero", {"B=\\0"}},
    {"blank", {"ADelay = 1"}, "8:7 warning", "write ADelay=1", {"ADelay=1"}},
    {"blank", {"AIP0=10.0.0.7\t"}, "4:14 warning", "write AIP0=10.0.0.7", {"AXMLfield= x "}},
    {"unknown-key", {"AProtcol0=UDP"}, "8:1 warning", "mean AProtocol0", {"ADelay=1"}},
    {"unknown-key", {"EnableEvnts=true"}, "8:1 warning", "EnableEvents", {"EnableEvents=true"}},
    {"unknown-key", {"ACount1=1"}, "8:1 warning", "write ACount", {"ADelay=1"}},
    {"letter-case", {"ADELAY=1"}, "8:1 error", "write ADelay", {"Description=x"}},
    {"letter-case", {"aDelay=1"}, "8:1 error", "write A in place of a", {"ADelay=1"}},
    {"no-count", {"BIP3=10.0.0.7"}, "8:1 error", "BCount=4", {"BIP3=10.0.0.7", "BCount=4"}},
    {"no-count", {"PowerOnCount=0", "PowerOnDelay=1"}, "9:1 note", "", {"PowerOnCount=0"}},
    {"count", {"ACount=two"}, "1:8 error", "from 1 to 128", {"ACount= 2"}},
    {"count", {"ACount=129"}, "1:8 error", "at most 128", {"ACount=128"}},
    {"count", {"ACount=1.5"}, "1:8 error", "ACount=1", {"ACount=01"}},
    {"index", {"APort1=1"}, "8:1 error", "ACount=2", {"APort00=1"}},
    {"index", {"ACount=2", "APort2=1", "APort1=1", "APort0x=1"}, "8:1 error", "ACount=3", {"A=0"}},
    {"index", {"APort=1"}, "8:1 error", "APort0", {"ADelay=1"}},
    {"index", {"APortx=1"}, "8:6 error", "number from 0", {"APort000=1"}},
    {"cut-name", {"MyIPlayIP0=1"}, "8:3 error", "none of Count", {"MyIPlayCount=1"}},
    {"cut-name", {"DataHallData0=41"}, "8:1 error", "no field word", {"DataHallCount=1"}},
    {"protocol", {"AProtocol0=udp"}, "3:12 error", "capitals", {"AProtocol0=xUDP"}},
    {"protocol", {"AProtocol0=TCP UDP"}, "3:12 warning", "write TCP", {"AProtocol0=TCP"}},
    {"protocol", {"AProtocol0=TCPstatus"}, "3:12 warning", "TCPStatus", {"AProtocol0=TCPStatus"}},
    {"protocol", {"ACount=3"}, "1:8 error", "ACount=1", {"ACount=1"}},
    {"address", {"AIP0=lamp.local"}, "4:6 error", "not looked up", {"AIP0=255.0.0.255"}},
    {"address", {"AIP0=\"10.0.0.7:80\""}, "4:6 error", "write 10.0.0.7, and", {"AIP0=10.0.0.7"}},
    {"address", {"AIP0=" + std::string(64, '1')}, "4:6 error", "numbers", {"AIP0=1.1.1.1"}},
    {"port", {"APort0=70000"}, "5:8 error", "1 to 65535", {"APort0=65535"}},
    {"port", {"APort0=telnet"}, "5:8 error", "1 to 65535", {"APort0=23"}},
    {"port", {"APort0=23/tcp"}, "5:8 error", "write 23", {"APort0=1"}},
    {"data", {"AData0=414"}, "6:8 error", "41 04 would leave", {"AData0=4a4B"}},
    {"data", {"AData0=ON!"}, "6:8 error", "AData0=4F4E21; as it is, nothing", {"AData0=4F4E21"}},
    {"data", {"AData0=4F 4E"}, "6:8 error", "AData0=4F4E; as it is, the bytes 4F 04", {"AData0="}},
    {"data", {"AData0=\"0x4F,0x4E\""}, "6:8 error", "AData0=4F4E;", {"AData0=4F4E"}},
    {"data", {"AProtocol0=UDPStatus"}, "6:1 warning", "remove", {"AProtocol0=UDP"}},
    {"payload", {"AData0=414200"}, "6:12 error", "without", {"AData0=414230"}},
    {"placeholder", {"AData0=" + as_hex("a{{x")}, "6:10 error", "7D7D", {"AData0=7D7D"}},
    {"placeholder", {"AData0=" + as_hex("{{}}")}, "6:8 error", "name", {"AData0=7B7D"}},
    {"placeholder", {"AData0=" + as_hex("{{ x}}")}, "6:12 error", "{{x}}", {"AData0=7B7B787D7D"}},
    {"placeholder",
     {"AData0=" + as_hex("{{tiem}}")},
     "6:12 note",
     "{{time}}",
     {"AData0=" + as_hex("{{TIME}}{{name}}{{whatever}}")}},
    {"delay", {"ADelay0=0.5"}, "7:9 error", "milliseconds", {"ADelay0=2147483647"}},
    {"delay", {"ADelay0=2147483648"}, "7:9 error", "milliseconds", {"ADelay0=1"}},
    {"delay", {"ADelay=-1"}, "8:8 error", "seconds", {"ADelay=0"}},
    {"delay-order",
     {"ACount=2", "ADelay0=5", "AIP1=10.0.0.7"},
     "8:1 warning",
     "every step",
     {"ACount=2", "ADelay1=5"}},
    {"never-runs", {"ADelay=60"}, "8:8 error", "below 60", {"ADelay=59"}},
    {"duplicate-key", {"ADelay0=0", "ADelay00=0"}, "8:1 warning", "remove", {"ADelay=0"}},
    {"same-trigger", {"nameCount=1"}, "8:1 error", "steps of name to A", {"muteCount=1"}},
    {"builtin-trigger",
     {"PowerOnCount=1", "PowerOnXMLfield=mute", "PowerOnDelay=1"},
     "9:1 warning",
     "behind PowerOnDelay",
     {"PowerOnCount=1", "PowerOnXMLfield=PowerOn", "PowerOnDelay=1"}},
    {"variable-name", {"AXMLfield=device_name"}, "2:11 error", "write name", {"AXMLfield=name"}},
    {"variable-name",
     {"AXMLfield=WPA_EAP_MODE"},
     "2:11 error",
     "p8021enable or p8021status",
     {"AXMLfield=p8021status"}},
    {"trigger", {"AXMLfield=Mute"}, "2:11 note", "mean mute", {"AXMLfield=playMode"}},
    {"trigger", {"AXMLfield=audioMulticastAddr"}, "2:11 note", "", {"AXMLfield=stream"}},
    {"trigger", {"AXMLfield=edidData"}, "2:11 note", "", {"AXMLfield=sysName"}},
    {"trigger", {"AXMLfield=a=b"}, "2:11 warning", "holds no", {"AXMLfield=webEnabled"}},
    {"no-effect", {"EnableEvents=false"}, "8:1 note", "ENABLE_KOVO_EVENT", {"EnableEvents=true"}},
    {"no-effect", {"FastCableDetectEvents=false"}, "8:1 note", "", {"DataEncode=HEX"}},
    {"no-effect", {"DataEncode=ASCII"}, "8:1 note", "HEX", {"DataEncode=HEX"}},
    {"no-effect",
     {"GenericEventsCount=1"},
     "8:1 note",
     "GenericEventsCount=0",
     {"GenericEventsCount=0"}},
    {"display-period", {"dviconnectedCount=1"}, "8:1 note", "", {"DVICount=1"}},
};

std::string where(const Finding& finding) {
  return std::to_string(finding.place.line) + ":" + std::to_string(finding.place.column) + " " +
         severity_name(finding.severity);
}

TEST(Rules, SpeakAtTheBadLineAndAreSilentAtTheGoodOne) {
  std::bitset<kRuleCount> met;
  for (const RuleCase& c : kCases) {
    Rule rule{};
    ASSERT_TRUE(find_rule(c.rule, rule)) << c.rule;
    met.set(static_cast<std::size_t>(rule));
    const Findings bad = found_in(good_event(c.bad), rule);
    ASSERT_FALSE(bad.empty()) << c.rule << " in " << c.bad[0];
    EXPECT_EQ(where(bad[0]), c.where) << c.rule << " in " << c.bad[0];
    EXPECT_NE((bad[0].text + bad[0].hint).find(c.hint), std::string::npos)
        << c.rule << ": " << bad[0].text << " = " << bad[0].hint;
    const Findings good = found_in(good_event(c.good), rule);
    EXPECT_TRUE(good.empty()) << c.rule << " in " << c.good[0] << ": " << good[0].text;
  }
  EXPECT_TRUE(met.all());
}

TEST(Rules, TheDefaultFileOfTheDaemonHasNoErrors) {
  for (const Finding& finding : found_in(default_definitions(true))) {
    EXPECT_EQ(finding.severity, Severity::kNote) << finding.text;
  }
}

TEST(Rules, TheStatusOfTheDeviceDecidesAboutPlaceholders) {
  const StatusVars status = {{"inputName", std::string(1100, 'x')}, {"zero", ""}};
  CheckOptions options;
  options.status = &status;
  const std::string text = good_event({"AData0=" + as_hex("{{inptName}}{{zero}}{{Date}}")});
  const Findings unknown = found_in(text, Rule::kPlaceholder, options);
  ASSERT_EQ(unknown.size(), 1U);
  EXPECT_EQ(where(unknown[0]), "6:12 error");
  EXPECT_EQ(unknown[0].hint, "did you mean {{inputName}}?");
  const std::string large = good_event({"AData0=" + as_hex("{{inputName}}")});
  EXPECT_EQ(found_in(large, Rule::kPayload, options).size(), 1U);
}

TEST(Rules, TheProductDecidesAboutTriggers) {
  const std::string text = good_event({"AXMLfield=HDMIOutStatus"});
  CheckOptions options;
  options.products = product_of("output");
  EXPECT_TRUE(found_in(text, Rule::kTrigger, options).empty());
  options.products = product_of("input-usbc");
  EXPECT_EQ(found_in(text, Rule::kTrigger, options).size(), 1U);
}

TEST(Rules, ALineOfNewcomersIsToldOnce) {
  // One mistake and one finding, as far as one line goes.
  for (const char* line : {"AData0=ON", "AIP0=lamp", "APort0=http", "AProtocol0=Udp", "ADelay=90",
                           "Adelay=1", "AXMLfield=TX_A_MUTE", "ACount=one"}) {
    EXPECT_EQ(found_in(good_event({line})).size(), 1U) << line;
  }
  std::string text = good_event({});
  EXPECT_EQ(found_in("\xEF\xBB\xBF" + text).size(), 1U);
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 2)) {
    text.insert(at, "\r");
  }
  const Findings all = found_in(text);
  ASSERT_EQ(all.size(), 1U);
  EXPECT_EQ(where(all[0]) + " " + all[0].text.substr(0, 11), "1:9 error 7 lines end");
}

/// The file with one finding mended.
std::string mended(const std::string& text, const Finding& finding) {
  std::size_t line_start = 0;
  for (int line = 1; line < finding.place.line; ++line)
    line_start = text.find('\n', line_start) + 1;
  std::string result = text;
  const auto at = line_start + static_cast<std::size_t>(finding.place.column) - 1;
  return result.replace(at, static_cast<std::size_t>(finding.place.length), *finding.mend);
}

TEST(Rules, AMendMends) {
  std::size_t mends = 0;
  std::vector<std::string> texts = {faulty_example()};
  for (const RuleCase& c : kCases) texts.push_back(good_event(c.bad));
  for (const std::string& text : texts) {
    for (const Finding& finding : found_in(text)) {
      if (!finding.mend) continue;
      ++mends;
      for (const Finding& left : found_in(mended(text, finding), finding.rule)) {
        EXPECT_FALSE(left.place.line == finding.place.line && left.text == finding.text)
            << finding.text;
      }
    }
  }
  EXPECT_GE(mends, 25U);
}

TEST(Rules, KnowTheNumbersOfTheDaemon) {
  EXPECT_EQ(kEventLifeS * std::int64_t{1'000'000'000}, kEventLifeNs);
  EXPECT_EQ(read_number("-2147483648").in_range, true);
  EXPECT_EQ(read_number("-2147483649").in_range, false);
}

#if !defined(KOVO_SANITIZED)  // they slow it down
double seconds_for(int lines) {
  std::string text;
  for (int at = 0; at < lines; at += 10) {
    const std::string name = "Ev" + std::to_string(at);
    text += name + "Count=1\n" + name + "XMLfield=nmae" + std::to_string(at % 300) + "\n" + name +
            "Protcol0=UDP\n" + name + "IP0=host\n" + name + "Port0=70000\n" + name +
            "Data0=446F6F72{{\n" + name + "Data0=7B7B6E6D61657D7D\nEv0Delay" +
            std::to_string(at % 128) + "=5\nX" + name + "Delay=1\ncomment\n";
  }
  const std::clock_t start = std::clock();
  const Source source = read_source(text);
  EXPECT_FALSE(check_source(source, {}).empty());
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

TEST(Timing, GrowsWithTheLinesAlone) {
  const double small = std::min({seconds_for(10'000), seconds_for(10'000), seconds_for(10'000)});
  EXPECT_LT(small, 0.1);
  EXPECT_LT(std::min(seconds_for(40'000), seconds_for(40'000)), 10 * small) << "16 if it were not";
}
#endif

}  // namespace
}  // namespace kovo::check
