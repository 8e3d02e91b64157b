// Each rule reports its bad lines and no others.
#include "check/rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <regex>

#include "check/fixes.h"
#include "check/report.h"
#include "core/event_rules.h"
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

/// The lines by which the good event sends to a port of the daemon.
std::string to_daemon(const std::string& port, const std::string& trigger, const char* payload) {
  return "AXMLfield=" + trigger + "\nAProtocol0=" + (port == "2728" ? "UDP" : "TCP") +
         "\nAIP0=127.0.0.1\nAPort0=" + port + "\nAData0=" + as_hex(payload);
}

// The good event: 1 ACount, 2 AXMLfield, 3 AProtocol0, 4 AIP0, 5 APort0, 6 AData0, 7 ADelay0.
const RuleCase kCases[] = {
    {"no-equals", "ADelay: 1", "8:1 warning", "write key=value", "\n // A"},
    {"long-line", std::string(2048, 'x'), "8:2048 error", "shorten", std::string(2047, 'x')},
    {"line-end", std::string("\0", 1), "8:1 error", "NULs", "B=\\0"},
    {"blank", "ADelay = 1", "8:7 error", "write ADelay=1", "EnableEvents= true"},
    {"blank", "AProtocol0=UDP\t", "3:15 warning", "write AProtocol0=UDP", "AIP0=10.0.0.7 "},
    {"blank", "AXMLfield= x ", "2:11 warning", "did you mean AXMLfield=x?", "AXMLfield= Name "},
    {"blank", "B Count=1\nBXMLfield=x\nBDelay=1", "9:1 error", "the Count on line 8 is for \"B \"",
     "B CCount=1"},
    {"commented-out", " #BCount=1", "8:1 error", "delete it, or remove each \"=\"", "#A: 1"},
    {"commented-out", ";EnableEvents=true", "8:1 note", "delete it", "A;BCount=1"},
    {"unknown-key", "EnableEvnts=true", "8:1 warning", "EnableEvents", "EnableEvents=true"},
    {"unknown-key", "ADealy=1", "8:1 error", "did you mean ADelay?", ""},
    {"unknown-key", "enableevents=true", "8:1 warning", "EnableEvents", ""},
    {"letter-case", "aDelay=1\naPort1=1", "8:1 error", "write the same event name",
     "Description=x"},
    {"no-count", "BIP3=10.0.0.7", "8:1 error", "add BCount=", "BIP3=10.0.0.7\nBCount=4"},
    {"no-count", "BCount=0\nBIP0=1", "9:1 error", "write the number", "BCount=0\nBDelay=1"},
    {"count", "ACount=129", "1:8 error", "from 1 to 128", "ACount=128\nBCount= 2"},
    {"count", "ACount=1.5", "1:8 error", "did you mean ACount=1?", "ACount=01"},
    {"count", "ACount=1;", "1:8 warning", "write ACount=1", ""},
    {"index", "ACount=2\nAPort2=1\nAPort1=1\nAPort0x=1", "8:1 error", "ACount=3", "A=0"},
    {"index", "APort=1", "8:1 error", "APort0", "APort00=1"},
    {"index", "APortx=1", "8:1 error", "number from 0", "ADelay=1"},
    {"index", "APort128x=1", "8:1 error", "number from 0", "ADelay=1"},
    {"index", "ACount1=1", "8:1 warning", "write ACount", ""},
    {"index", "AIP0 x=1", "8:1 warning", "write AIP0", ""},
    {"truncated-name", "DataHallData0=41", "8:1 error", "rename", "MyIPlayCount=1"},
    {"protocol", "AProtocol0=TCPstatus", "3:12 warning", "TCPStatus", "AProtocol0=xUDP"},
    {"protocol", "ACount=3", "1:8 error", "2 steps without lines", "AProtocol0=TCPStatus"},
    {"address", "AIP0=\"10.0.0.7:80\"", "4:6 error", "did you mean 10.0.0.7, and APort0=80?",
     "AIP0=255.255.255.0"},
    {"address",
     "AIP0=\xE2\x80\x9C"
     "10.0.0.7\xE2\x80\x9D ",
     "4:6 error", "write 10.0.0.7", ""},
    {"address", "AIP0=255.255.255.255", "4:6 error", "step of its own", "AIP0=255.255.255.254"},
    {"address", "AIP0=10.0.0.255", "4:6 note", "one device", "AIP0=10.0.255.25"},
    {"address", "AIP0=0.0.0.0", "4:6 warning", "127.0.0.1", "AIP0=0.0.0.0\nAPort0=2728"},
    {"address", "AIP0=192.168.10.70/24", "4:6 error", "mean 192.168.10.70?", ""},
    {"address", "AIP0=" + std::string(64, '1'), "4:6 error", "numbers", "AIP0=1.1.1.1"},
    {"port", "APort0=65536", "5:8 error", "1 to 65535", "APort0=65535"},
    {"port", "APort0=0", "5:8 error", "1 to 65535", "APort0=1"},
    {"port", "APort0=5000 # matrix", "5:8 warning", "the comment on a line without", ""},
    {"loop", to_daemon("2727", "name", "set::DEVICE_NAME::1"), "4:6 warning", "not raise A again",
     "AIP0=127.0.0.2\nAPort0=2728"},
    {"loop", to_daemon("2700", "x", "y\nx=1"), "4:6 warning", "tcp:2700) and can raise A again",
     "AIP0=127.0.0.1\nAPort0=2700"},
    {"loop", to_daemon("2700", "x", "__TEST__:A"), "4:6 warning", "A -> __TEST__:A -> A", ""},
    {"loop", to_daemon("2700", "x", "x{{y}}"), "4:6 warning", "not raise A again", ""},
    {"loop", to_daemon("2700", "powerON", "powerON"), "4:6 warning", "not raise A again", ""},
    {"loop",
     to_daemon("2700", "x", "y") +
         "\nyCount=1\nyProtocol0=UDP\nyIP0=lamp\nyPort0=2728\nyData0=" + as_hex("sysName=1") +
         "\nBCount=1\nBXMLfield=sysName\nBProtocol0=TCPx\nBPort0=2700\nBData0=" + as_hex("x"),
     "4:6 warning", ": A -> y -> sysName -> B -> x -> A = remove", "AIP0=lamp\nAPort0=2728"},
    {"loop", to_daemon("2727", "serialParity", "e_param_set::S0_BAUDRATE::9600-8N1"), "4:6 warning",
     "A -> serialParity -> A", ""},
    {"loop", to_daemon("2727", "HDMIOutResolution", "e_param_set::V_OUTPUT_TIMING_CONVERT::1"),
     "4:6 warning", "A -> HDMIOutResolution -> A", ""},
    {"loop", to_daemon("2727", "sysDescr", "sysDescr=1"), "4:6 warning", "A -> sysDescr -> A", ""},
    {"loop", to_daemon("2728", "localPlayList", "local:x"), "4:6 warning", "-> localPlayList ->",
     ""},
    {"data", "AData0=0x4F,0x4E", "6:8 error", "write AData0=4F4E; as written", "AData0=4a4B"},
    {"data", "AData0=\"ON\"", "6:8 error", "did you mean AData0=4F4E?", ""},
    {"data", "AData0=4F4B\\r", "6:8 error",
     "did you mean AData0=4F4B0D? (as written, it sends 4F 4B)", ""},
    {"data", "AData0=41h 42h 0Dh", "6:8 error", "did you mean AData0=41420D?", ""},
    {"data", "AData0=<STX>PON<ETX>", "6:8 error", "did you mean AData0=02504F4E03?", ""},
    {"data", "AData0=%02PON%03", "6:8 error", "write two hexadecimal digits", ""},
    {"data", "AData0=504O,0D", "6:11 error", "\"O\" is not a digit = write two", "AData0=5040"},
    {"data", "AData0= \\x25 $31,0x0D", "6:8 error", "did you mean AData0=25310D?", "AData0=\t"},
    {"data", "AData0=50 4", "6:8 error",
     "two hexadecimal digits for each byte; as written, it sends 50 04", "AData0=5004"},
    {"payload", "AData0=414200", "6:12 error", "kovotcp cannot send this command", "AData0=414230"},
    {"protocol", "ACount=2\nACount=1", "1:8 error", "1 step without lines", "ACount=1\nACount=3"},
    {"trigger", "MuteCount=1\nMuteXMLfield=Mute", "9:14 warning", "did you mean mute?", ""},
    {"unknown-key", "Count=1", "8:1 warning", "write NameCount, NameXMLfield", ""},
    {"data", "AData0=ON=1", "6:8 error", "did you mean AData0=4F4E3D31?", ""},
    {"data", "AData0=4D55 # mute", "6:8 error", "did you mean", ""},
    {"data", "AData0=FF,ON", "6:8 error", "did you mean AData0=46462C4F4E?", ""},
    {"address", "AIP0 = panel", "8:7 error", "four numbers", "AIP0=10.0.0.7"},
    {"index", "ACount=1\nACount=2\nAData1=41", "9:1 error", "with ACount=1, the last one is 0", ""},
    {"blank", " AXMLfield = x ", "8:1 warning", "write AXMLfield=x", "AXMLfield=x"},
    {"delay", "ADelay0=600001", "7:9 note", "is 600 seconds", "ADelay0=600000"},
    {"placeholder", "AData0=7B7B7D7D", "6:12 error", "name", "AData0=7B7D7D7D"},
    {"placeholder", "AData0=7B7B20787D7D", "6:12 error", "{{x}}", "AData0=7B7B54494D457D7D"},
    {"delay", "ADelay0=2147483648", "7:9 error", "milliseconds", "ADelay0=1"},
    {"delay", "ADelay0=2 s", "7:9 error", "number of milliseconds", "ADelay0=2000"},
    {"delay", "ADelay0=15 milliseconds", "7:9 warning", "write ADelay0=15", "ADelay="},
    {"delay", "ADelay=1min", "8:8 error", "number of seconds", ""},
    {"delay", "ADelay=-1", "8:8 error", "seconds", "ADelay=0"},
    {"delay-order", "ACount=2\nADelay0=5\nAIP1=", "8:1 warning", "every", "ACount=2\nADelay1=5"},
    {"never-runs", "ADelay=60", "8:8 error", "below 60", "ADelay=59"},
    {"duplicate-key", "ADelay0=0\nADelay00=0", "8:1 warning", "remove", "ADelay=0"},
    {"same-trigger", "nameCount=1", "8:1 error", "steps of name to A", "muteCount=1"},
    {"builtin-trigger", "PowerOnCount=1\nPowerOnXMLfield=mute\nPowerOnDelay=1", "9:1 warning",
     "another event for \"mute\"", "PowerOnCount=1\nPowerOnXMLfield=PowerOn"},
    {"builtin-trigger", "PowerOnCount=1\nPowerOnDelay=1\nPowerOnXMLfield=mute", "10:17 warning",
     "another event", "PowerOnCount=1\nPowerOnXMLfield=poweron"},
    {"variable-name", "AXMLfield=device_name", "2:11 error", "write name", "AXMLfield=name"},
    {"variable-name", "AXMLfield=WPA_EAP_MODE", "2:11 error", "p8021enable or p8021status", ""},
    {"trigger", "AXMLfield=\" Video mute\"", "2:11 warning", "did you mean videoMute?",
     "AXMLfield=mute"},
    {"trigger", "mediaport0Count=1", "8:1 warning", "write mediaport0XMLfield=mediaPort0", ""},
    {"trigger", "AXMLfield=GPIO1=closed", "2:11 warning", "logged = write GPIO1",
     "AXMLfield=webEnabled"},
    {"trigger", "AXMLfield=__x", "2:11 warning", "holds no", "AXMLfield=own "},
    {"trigger", "AXMLfield=videoSuorce", "2:11 warning", "did you mean videoSource?", ""},
    {"trigger", "matrixCount=1", "8:1 note", "matrix has no XMLfield line: its name is its", ""},
    {"no-effect", "EnableEvents=false", "8:1 note", "ENABLE_KOVO_EVENT", "EnableEvents=TRUE"},
    {"no-effect", "DataEncode=ASCII", "8:1 note", "HEX", "DataEncode=HEX"},
    {"no-effect", "GenericEventsCount=1", "8:1 note", "Count=0", "GenericEventsCount=0"},
};

/// Returns "line:column severity text = hint" of each.
std::string text_of(const Findings& findings) {
  std::ostringstream text;
  for (const Finding& finding : findings) {
    text << finding.range.line << ":" << finding.range.column << " "
         << severity_name(finding.severity) << " " << finding.text << " = " << finding.hint << "\n";
  }
  return text.str();
}

/// Fixes each finding of a file by itself and expects it to be gone; returns how many have a fix.
std::size_t fix_all(const std::string& text) {
  std::size_t fixes = 0;
  for (const Finding& finding : found_in(text)) {
    const std::string section(rule_section(finding.rule->name));
    const std::string severities = section.substr(0, section.find("\n\nReports "));
    EXPECT_TRUE(contains(severities, severity_name(finding.severity))) << severities;
    if (!finding.fix) continue;
    ++fixes;
    const std::string left =
        text_of(found_in(with_edits(text, edits_of(finding)), finding.rule->name));
    EXPECT_EQ(left.find(finding.text), std::string::npos) << left;
  }
  return fixes;
}

TEST(Rules, ReportOnlyBadLinesUntilTheyAreFixed) {
  std::bitset<kRuleCount> covered;
  covered.set(find_rule("no-event"));  // of no file with an event
  std::size_t fixes = fix_all(read_example("faulty.txt"));
  for (const RuleCase& c : kCases) {
    SCOPED_TRACE(c.rule + (" in " + c.bad));
    covered.set(find_rule(c.rule));
    const std::string bad = text_of(found_in(good_event(c.bad), c.rule));
    EXPECT_EQ(bad.find(c.where), 0U) << bad;
    EXPECT_LE(std::count(bad.begin(), bad.end(), '\n'), 2) << bad;
    EXPECT_NE(bad.find(c.hint), std::string::npos) << bad;
    EXPECT_EQ(text_of(found_in(good_event(c.good), c.rule)), "") << "in " << c.good;
    fixes += fix_all(good_event(c.bad));
  }
  EXPECT_TRUE(covered.all());
  EXPECT_GE(fixes, 20U);
}

TEST(Rules, FollowTheDaemonAndTheProduct) {
  const std::string event = std::regex_replace(good_event(""), std::regex("\n"), "\r\n");
  const Findings ends = found_in("\xEF\xBB\xBF" + event);
  EXPECT_EQ(ends.size(), 2U) << text_of(ends);
  EXPECT_NE(text_of(ends).find("\n1:12 error CR at the end of 7 lines"), std::string::npos)
      << text_of(ends);
  EXPECT_EQ(count_of(found_in(default_definitions(true)), Severity::kError), 0U);

  // The blanks and the comma are removed, but not a comma whose fix only shows another error.
  const std::regex data("AData0=41");
  EXPECT_EQ(apply_fixes(std::regex_replace(good_event(""), data, "AData0 = 41,42"), {}).fixes, 2U);
  EXPECT_EQ(apply_fixes(std::regex_replace(good_event(""), data, "AData0 = 41,00"), {}).fixes, 1U);

  EXPECT_EQ(unified_diff("f", "1\n\r", "1\n"),
            "--- a/f\n+++ b/f\n@@ -1,2 +1,1 @@\n 1\n-\r\n\\ No newline at end of file\n");

  const auto duplicates = [](const char* text) { return found_in(text, "duplicate-key"); };
  EXPECT_TRUE(contains(text_of(duplicates("BCount=0\nBCount=1\n")), "the first positive one"));
  EXPECT_FALSE(contains(text_of(duplicates("BCount=x\nBCount=y\nBCount=z\n")), "is lost"));
  EXPECT_EQ(duplicates("DataEncode=HEX\nDataEncode=HEX\n").size(), 1U);

  const Findings commented = found_in(
      "#BCount=2\n#BCount=2\n#BXMLfield=name\n#BDelay=90\n#BProtocol5=udp\n#BData0=7B7B\n"
      "#Bip0=x \n#CIP0=1\n" +
      good_event(""));
  EXPECT_EQ(text_of(commented).find(
                "1:1 error this is not a comment: the event \"#B\" is defined, by 6 lines"),
            0U);
  EXPECT_EQ(commented.size(), 3U) << "notes on two lines, and no other\n" << text_of(commented);

  const Findings second = found_in(good_event("BCount=1\nBXMLfield=Name"), "trigger");
  EXPECT_FALSE(second.at(0).fix) << "two events would have the trigger";

  const StatusVars status = {{"inputName", std::string(1100, 'x')}, {"zero", ""}};
  const CheckOptions options{kAnyProduct, &status, false, {}};
  const std::string text =
      good_event("AData0=" + as_hex("{{inptName}}{{zero}}{{Date}}{{inputName}}{{inptName}}"));
  EXPECT_EQ(text_of(found_in(text, "placeholder", options)),
            "6:12 error \"{{inptName}}\" is replaced by nothing: the status has no such name = "
            "did you mean {{inputName}}?\n");
  EXPECT_EQ(found_in(text, "payload", options).size(), 1U) << "it is too long";
}

TEST(Rules, ReportAMistakeOnce) {
  const std::string good = good_event("");
  const std::string next = std::regex_replace(good, std::regex("0="), "1=");
  const struct {
    std::string text;
    const char* part;
  } cases[] = {
      {std::regex_replace(good, std::regex("\n"), "\r"), "the lines end in CR only"},
      {"EnableEvents=true\n", "warning the file defines no event"},
      {next, "3:1 error AProtocol1 and 4 more lines: there is no such step"},
      {next, "number the steps of A from 0"},
      {good + next.substr(next.find("AProtocol1")), "write ACount=2 if"},
      {good + good, "8:1 warning ACount and 6 more lines repeat keys from line 1 on"},
      {good + std::regex_replace(good, std::regex("Data0=41"), "Data0=42"),
       "8:1 error ACount and 6 more lines repeat keys from line 1 on: the first event A is lost"},
      {std::regex_replace(good, std::regex("ACount"), "Acount"), "write ACount"},
      {std::regex_replace(good, std::regex("AProtocol0"), "AProtcol0"), "mean AProtocol0?"},
      {std::regex_replace(good, std::regex("AIP0"), "AIP0 "),
       "warning the blanks after the step number"},
      {std::regex_replace(good, std::regex("AIP0"), " AIP0"), "error the blanks around the key"},
      {std::regex_replace(good, std::regex("1.1.1.1"), "1.1.1.1 "), "write 1.1.1.1"},
      {std::regex_replace(good, std::regex("1.1.1.1\nAPort0="), "1.1.1.1:"), "and APort0=1?"},
      {std::regex_replace(good, std::regex("ACount"), "A Count"),
       "the Count on line 1 is for \"A \""},
  };
  for (const auto& c : cases) {
    const Findings findings = found_in(c.text);
    EXPECT_EQ(findings.size(), 1U) << text_of(findings);
    EXPECT_TRUE(contains(text_of(findings), c.part)) << text_of(findings);
  }
}

/// Returns the lines of an indented block of the page, with CR for \r. The page shortens long lines
/// by "..." at their end.
std::string block_of(std::string_view section, std::string_view head) {
  std::string block;
  std::size_t at = section.find(head);
  if (at == std::string_view::npos) return block;
  for (const std::string_view line : split_lines(section.substr(at + head.size()))) {
    if (line.substr(0, 4) != "    ") break;
    block.append(line.substr(4)).append("\n");
  }
  return block;
}

std::string example_text(const std::string& block) {
  const std::string text = std::regex_replace(block, std::regex(R"(\\r)"), "\r");
  return std::regex_replace(text, std::regex(R"(\.\.\.)"), std::string(2000, '1'));
}

TEST(Rules, HaveDocumentedExamplesThatAreTrue) {
  const std::string page = read_example("../rules.md");
  const std::string event = block_of(page, "rule.\n\n");
  EXPECT_EQ(text_of(found_in(event)), "") << event;
  for (const RuleInfo& rule : kRules) {
    SCOPED_TRACE(rule.name);
    const std::string section(rule_section(rule.name));
    const bool is_file = contains(section, "\nBad file:\n\n");
    const std::string bad =
        example_text(block_of(section, is_file ? "\nBad file:\n\n" : "\nBad:\n\n"));
    const std::string good = example_text(block_of(section, "\nGood:\n\n"));
    EXPECT_EQ(text_of(found_in(is_file ? good : with_lines(event, good))), "");
    const std::string text = is_file ? bad : with_lines(event, bad);
    const std::string report =
        report_text("kovo.txt", read_source(text), found_in(text, rule.name), 80);
    EXPECT_EQ(block_of(section, "\nOutput:\n\n"), report.substr(0, report.rfind("kovo.txt: ")));
    for (const std::string_view line : split_lines(section)) EXPECT_LE(line.size(), 84U) << line;
  }
}

TEST(Rules, TakeTimeInProportionToTheLines) {
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
