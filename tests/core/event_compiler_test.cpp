#include "core/event_compiler.h"

#include <gtest/gtest.h>

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

TEST(EventCompiler, EventsTakeTheirFieldsFromAllLines) {
  const struct {
    std::initializer_list<std::string_view> lines;
    std::string events;
  } cases[] = {
      // Which Count lines make an event, and which lines fill in its steps.
      {{"NoCount=0", "NegativeCount=-1", "TextCount=abc", "ACount= 2x"}, "A A 0:    0;    0;"},
      {{"ACount=2", "AIP1=10.0.0.6", "APort1=23", "AProtocol1=TCP", "AData1=414243", "AData2=41",
        "AData-1=42", "AData x=43", "AData09=44", "AData99999999999=44", "AData 0y=4B",
        "AData-4294967295=4A", "BData0=41", "AXMLfield0=no", "ACount1=9"},
       "A A 0:   K 0;TCP 10.0.0.6 23 J 0;"},
      // Offsets are summed in the order of the file.
      {{"ACount=3", "ADelay0=100", "ADelay1=200", "ADelay2=50"}, "A A 0:    100;    300;    350;"},
      {{"ADelay0=100", "ADelay2=50", "ADelay1=200", "ACount=3"}, "A A 0:    100;    300;    50;"},
      {{"ACount=3", "ADelay0=100", "ADelay2=50"}, "A A 0:    100;    0;    50;"},
      {{"ACount=1", "ADelay0=9999999999"}, "A A 0:    2147483647;"},
      // A Delay line of a built-in event resets its trigger; a later XMLfield line sets it again.
      {{"PowerOnCount=1", "PowerOnXMLfield=x", "PowerOnDelay=1"}, "PowerOn PowerOn 1:    0;"},
      {{"DVIConnectedCount=1", "DVIConnectedDelay=2", "DVIConnectedXMLfield=hdmi"},
       "DVIConnected hdmi 2:    0;"},
      {{"DVIDisconnectedCount=1", "DVIDisconnectedXMLfield=x", "DVIDisconnectedDelay=0"},
       "DVIDisconnected DVIDisconnected 0:    0;"},
      {{"ACount=1", "AXMLfield=doorState", "ADelay=3", "ACount=2"},  // both of one name
       "A doorState 3:    0;A doorState 3:    0;    0;"},
  };
  for (const auto& c : cases) EXPECT_EQ(compiled(c.lines), c.events);
  EXPECT_EQ(compiled({"ManyCount=500"}), compiled({"ManyCount=128"}));
}

}  // namespace
}  // namespace kovo
