// The pure core alone: reading and compiling definitions, looking up events, splitting messages,
// expanding payloads, finding mapping rows.
#include <benchmark/benchmark.h>

#include <string>

#include "control/split_message.h"
#include "definitions/event_compiler.h"
#include "definitions/templates.h"
#include "frame/text.h"
#include "variables/mapping_tables.h"

namespace {

constexpr int kLinesPerEvent = 5;

std::string event_name(std::int64_t number) {
  return "E" + std::to_string(number) + "x";
}

std::string definitions(std::int64_t lines) {
  std::string text;
  for (std::int64_t i = 0; i < lines / kLinesPerEvent; ++i) {
    const std::string name = event_name(i);
    text += name + "Count=1\n" + name + "Protocol0=UDP\n" + name + "IP0=10.0.0.7\n" + name +
            "Port0=6000\n" + name + "Data0=446F6F72206F66207B7B6E616D657D7D\n";
  }
  return text;
}

void read_definitions(benchmark::State& state) {
  const std::string text = definitions(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(kovo::parse_definitions(text));
}

void compile_definitions(benchmark::State& state) {
  const kovo::DefinitionEntries entries = kovo::parse_definitions(definitions(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(kovo::compile_events(entries));
}

void look_up_last_event(benchmark::State& state) {
  const kovo::CompiledEvents events =
      kovo::compile_events(kovo::parse_definitions(definitions(state.range(0))));
  const std::string last = event_name(state.range(0) / kLinesPerEvent - 1);
  if (kovo::find_event(events, last, 0) == nullptr) state.SkipWithError("not found");
  for (auto _ : state) benchmark::DoNotOptimize(kovo::find_event(events, last, 0));
}

void split_one_message(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(kovo::split_message("get_udp::DEVICE_NAME::127.0.0.1::9000"));
  }
}

void expand_one_payload(benchmark::State& state) {
  kovo::TemplateValues values;
  for (int i = 0; i < 30; ++i) values.status_vars.emplace_back("key" + std::to_string(i), "value");
  values.status_vars.emplace_back("name", "Lobby");
  values.date = "2025-03-05 ";
  values.time = "12:00:00.000";
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        kovo::expand_templates(values, "Door of {{name}} at {{date}}{{time}}, {{uptime}} s\\r\\n"));
  }
}

void find_no_mapping_row(benchmark::State& state) {
  kovo::MappingTable table = kovo::mapping_rows({});
  for (auto _ : state) {
    benchmark::DoNotOptimize(kovo::find_row(table, &kovo::MappingRow::variable, "OF_NO_EVENT"));
  }
}

BENCHMARK(read_definitions)->Arg(1000)->Arg(20000)->Unit(benchmark::kMicrosecond);
BENCHMARK(compile_definitions)->Arg(1000)->Arg(20000)->Unit(benchmark::kMicrosecond);
BENCHMARK(look_up_last_event)->Arg(1000)->Arg(20000);
BENCHMARK(split_one_message);
BENCHMARK(expand_one_payload);
BENCHMARK(find_no_mapping_row);

}  // namespace
