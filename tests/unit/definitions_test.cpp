#include <gtest/gtest.h>

#include "core/definition_entry.h"
#include "core/event_compiler.h"
#include "core/templates.h"
#include "core/text.h"

namespace kovo {
namespace {

/// Each event as "name trigger delay:" and its steps as "protocol ip port data offset in ms;".
std::string compiled(std::initializer_list<std::string_view> lines) {
  std::string text;
  for (const std::string_view line : lines) add_definition_line(text, line);
  const CompiledEvents list = compile_events(DefinitionEntries(std::move(text)));
  text.clear();
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

TEST(Keys, AreCutAtTheFirstFieldWord) {
  std::string key = "x";
  for (const char* word : {"Data", "Port", "IP", "Delay", "Protocol", "XMLfield", "Count"}) {
    key += word;
    EXPECT_EQ(split_definition_key(key, "").field, word);
  }
  std::uint32_t index = 0;
  EXPECT_EQ(to_uint32("-4294967295", 10, index), NumberReading::kOk);
  EXPECT_EQ(index, 1U);
  EXPECT_EQ(to_uint32("4294967296", 10, index), NumberReading::kOutOfRange);
  EXPECT_EQ(index, UINT32_MAX);
}

TEST(EventList, EventsTakeTheirFieldsFromAllLines) {
  EXPECT_EQ(default_definitions(true).find("EnableEvents=true\nFast"), 0U);
  EXPECT_EQ(default_definitions(false).find("EnableEvents=false\nFast"), 0U);
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
      // A Delay line sets a built-in trigger back, an XMLfield line after it stays.
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

TEST(Templates, ExpandedPayloadsHaveALimit) {
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
}

TEST(Templates, PercentCodesAreDecoded) {
  EXPECT_EQ(percent_decode("A%41B %3a%3A %zz %%41 100%"), "AAB :: \xFF \xFF\x31 100%");
  EXPECT_EQ(percent_decode("%00x"), std::string("\0x", 2));
  EXPECT_EQ(percent_decode("%41") + percent_decode("%4") + percent_decode("%fF"), "A%4\xFF");
}

}  // namespace
}  // namespace kovo
