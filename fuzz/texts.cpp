// Numbers, keys and payloads: whatever the bytes, results stay within their range and their text.
#include <cassert>

#include "core/templates.h"
#include "core/text.h"
#include "daemon/state/definition_file.h"

using namespace kovo;

static void check_numbers(std::string_view text, int base) {
  std::uint32_t value = 77;
  const NumberReading reading = to_uint32(text, base, value);
  const std::int64_t number = to_int32(text, base);
  if (reading == NumberReading::kNoDigits) assert(value == 0 && number == 0);
  if (reading == NumberReading::kOutOfRange) assert(value == UINT32_MAX);
  if (reading == NumberReading::kOutOfRange) assert(number == INT32_MIN || number == INT32_MAX);
  if (number != INT32_MIN && number != INT32_MAX)
    assert(value == static_cast<std::uint32_t>(number));
}

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  const std::string_view text(data, size);
  for (const int base : {10, 16}) check_numbers(text, base);
  const auto [parts, name, field, index, value] = split_definition_key(text, "");
  assert(std::string(name).append(field).append(index) == text);
  assert(parts == (field.empty() ? 0 : index.empty() ? 1 : 2));
  assert(parts == 0 || (!name.empty() && text.find(field) == name.size()));
  const TemplateValues values{{{"a", "{{b}}\\"}, {"b", "n"}, {"date", "Date"}}, "", "12:00", -5};
  const std::string payload = expand_templates(values, text);
  assert(payload.size() <= kMaxExpanded);
  const bool replaced = contains(text, "{{") || contains(text, "\\");
  assert(replaced || payload == truncated(text, kMaxExpanded));
  assert(s_hex_to_ascii(text).size() == (size + 1) / 2);
  return 0;
}
