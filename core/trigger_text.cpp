#include "core/trigger_text.h"

namespace kovo {

KeyValue split_command_line(std::string_view text) {
  return split_key_value(truncated(strip_newline(text), kMaxCommand));
}

bool is_command(std::string_view key) {
  return key.substr(0, 2) == "__";
}

std::optional<std::string_view> tested_names(std::string_view key) {
  constexpr std::string_view kTestCommand = "__TEST__:";
  if (key.substr(0, kTestCommand.size()) != kTestCommand) return {};
  return strip_newline(key.substr(kTestCommand.size()));
}

std::optional<bool> enables_events(const KeyValue& command) {
  if (!starts_with_nocase(command.key, "__SET__:network.kovo.enable")) return {};
  return starts_with_nocase(command.value, "1") || starts_with_nocase(command.value, "y");
}

}  // namespace kovo
