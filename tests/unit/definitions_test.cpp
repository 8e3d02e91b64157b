#include <gtest/gtest.h>

#include "definitions/definition_entry.h"
#include "definitions/event_compiler.h"
#include "definitions/templates.h"

namespace kovo {
namespace {

DefinitionEntries parse(std::initializer_list<std::string_view> lines) {
  std::string text;
  for (const std::string_view line : lines) add_definition_line(text, line);
  return DefinitionEntries(std::move(text));
}

/// Each event as "name trigger delay:" and its steps as "protocol ip port data offset in ms;".
std::string compiled(std::initializer_list<std::string_view> lines) {
  const CompiledEvents list = compile_events(parse(lines));
  std::string text;
  for (const CountLine& line : list.lines) {
    const EventDefinition event = whole_event(list.events.at(line.event), line.step_count);
    text += event.name + " " + event.trigger + " " + std::to_string(event.delay_s) + ":";
    for (const SubCommand& step : event.commands) {
      text += step.protocol + " " + step.ip + " " + step.port + " " + step.data + " " +
              std::to_string(step.delay_from_exec_ns / 1'000'000) + ";";
    }
  }
  return text;
}

TEST(Defaults, FirstLineFollowsTheSwitch) {
  EXPECT_EQ(default_definitions(true).find("EnableEvents=true\nFast"), 0U);
  EXPECT_EQ(default_definitions(false).find("EnableEvents=false\nFast"), 0U);
}

TEST(EventList, EventsTakeTheirFieldsFromAllLines) {
  const struct {
    std::initializer_list<std::string_view> lines;
    std::string events;
  } cases[] = {
      // Which Count lines make an event, and which lines fill in its steps.
      {{"NoCount=0", "NegativeCount=-1", "TextCount=abc", "ACount= 2x"}, "A A 0:    0;    0;"},
      {{"ACount=2", "AIP1=10.0.0.6", "APort1=23", "AProtocol1=TCP", "AData1=414243", "AData2=41",
        "AData-1=42", "AData x=43", "AData09=44", "AData99999999999=44", "AData 1y=4A", "BData0=41",
        "AXMLfield0=no", "ACount1=9"},
       "A A 0:    0;TCP 10.0.0.6 23 J 0;"},
      // Offsets are summed in the order of the file.
      {{"ACount=3", "ADelay0=100", "ADelay1=200", "ADelay2=50"}, "A A 0:    100;    300;    350;"},
      {{"ADelay0=100", "ADelay2=50", "ADelay1=200", "ACount=3"}, "A A 0:    100;    300;    50;"},
      {{"ACount=3", "ADelay0=100", "ADelay2=50"}, "A A 0:    100;    0;    50;"},
      {{"ACount=1", "ADelay0=9999999999"}, "A A 0:    2147483647;"},
      // A Delay line sets a built-in trigger back, an XMLfield line behind it stays.
      {{"PowerOnCount=1", "PowerOnXMLfield=x", "PowerOnDelay=1"}, "PowerOn PowerOn 1:    0;"},
      {{"DVIConnectedCount=1", "DVIConnectedDelay=2", "DVIConnectedXMLfield=hdmi"},
       "DVIConnected hdmi 2:    0;"},
      {{"DVIDisconnectedCount=1", "DVIDisconnectedXMLfield=x", "DVIDisconnectedDelay=0"},
       "DVIDisconnected DVIDisconnected 0:    0;"},
      {{"ACount=1", "AXMLfield=doorState", "ADelay=3", "ACount=2"},  // all of a name
       "A doorState 3:    0;A doorState 3:    0;    0;"},
  };
  for (const auto& c : cases) EXPECT_EQ(compiled(c.lines), c.events);
  EXPECT_EQ(compiled({"ManyCount=500"}), compiled({"ManyCount=128"}));
}

TEST(EventList, FileShowsOneLinePerCount) {
  const CompiledEvents list =
      compile_events(parse({"PowerOnCount=2", "PowerOnDelay=1", "PowerOnData0=414243",
                            "PowerOnDelay0=0", "PowerOnData1=00440A", "PowerOnDelay1=500",
                            "ECount=1", "EDelay0=-1", "EData2=41", "PowerOnCount=1", "ECount=4"}));
  std::string text;
  for (const CountLine& line : list.lines) {
    text += event_line(list.events.at(line.event), line.step_count);
  }
  EXPECT_EQ(text, std::string("PowerOn;PowerOn;0:ABC:0;1:\0D\n:500;Delay=1;\n"
                              "E;E;0::-1;Delay=0;\n"
                              "PowerOn;PowerOn;0:ABC:0;Delay=1;\n"
                              "E;E;0::-1;1::0;2:A:0;3::0;Delay=0;\n",
                              130));
}

TEST(EventList, HoldsNoMoreThanTheFile) {
  const CompiledEvents list = compile_events(parse(
      {"ACount=128", "ACount=127", "ACount=128", "AIP127=x", "AIP3=y", "AIP128=z", "BCount=128"}));
  EXPECT_EQ(list.lines.size(), 4U);
  ASSERT_EQ(list.events.size(), 2U);
  const auto& steps = list.events[0].steps;
  EXPECT_EQ(std::distance(steps.begin(), steps.end()), 2);
  EXPECT_TRUE(list.events[1].steps.empty());
  EXPECT_EQ(whole_event(list.events[0], 3).commands.size(), 3U) << "an event of fewer steps";
  EXPECT_EQ(whole_event(list.events[0], 4).commands.back().ip, "y");
}

TEST(Templates, NamesHaveTheirFirstValue) {
  const TemplateValues values = {{{"name", "HDMI1"}, {"time", "mine"}, {"", "none"}, {"name", "2"}},
                                 "2024-11-29 ",
                                 "18:16:18",
                                 42};
  std::string text;
  for (const char* name : {"name", "time", "TIME", "Date", "upTime", "", "NAME", "nosuch"}) {
    text += template_value(values, name) + "|";
  }
  EXPECT_EQ(text, "HDMI1|mine|18:16:18|2024-11-29 |42|none|||");
}

TEST(Templates, ExpandedPayloadsAreHeldToTheirLimit) {
  const std::string text(1000, 'x');
  const TemplateValues values = {
      {{"x", text}, {"n", replace_all(text, "x", "\\n")}}, "2024-11-29 ", "18:16:18", 42};
  const auto filled = [&](std::string_view placeholder, int times) {
    std::string payload;
    while (times-- > 0) payload += placeholder;
    return expand_templates(values, payload);
  };
  EXPECT_EQ(filled("{{x}}", 16), std::string(16000, 'x'));
  EXPECT_EQ(filled("{{x}}", 200), std::string(kMaxExpanded, 'x'));
  EXPECT_EQ(filled("{{n}}", 200), std::string(kMaxExpanded, '\n'));
  EXPECT_EQ(replace_all(text, "", "y"), text);
}

TEST(Templates, PercentCodesAreDecoded) {
  const struct {
    const char* text;
    std::string decoded;
  } cases[] = {{"A%41B", "AAB"},
               {"100%", "100%"},
               {"%4", "%4"},
               {"%", "%"},
               {"%zz", "\xFF"},
               {"%3a%3A", "::"},
               {nullptr, ""},
               {"%41", "A"},
               {"%%41",
                "\xFF"
                "1"},
               {"%00x", std::string("\0x", 2)}};
  for (const auto& c : cases) EXPECT_EQ(percent_decode(c.text), c.decoded);
  EXPECT_EQ(percent_hex_pair(nullptr), -1);
  EXPECT_EQ(percent_hex_pair("4%1"), -2);
  EXPECT_EQ(percent_hex_pair("%4"), -3);
  EXPECT_EQ(percent_hex_pair("%fF"), 255);
  EXPECT_EQ(unescape_text(nullptr), "");
}

}  // namespace
}  // namespace kovo
