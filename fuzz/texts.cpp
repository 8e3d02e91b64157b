// Numbers against a plain 32-bit model, texts against a second way of reading them.
#include <cassert>

#include "definitions/event_list.h"
#include "definitions/templates.h"
#include "frame/text.h"
#include "fuzz/plain.h"

using namespace kovo;

static void check_numbers(std::string_view text, int base) {
  assert(to_int32(text, base) == plain::int32(text, base));
  const plain::Number n = plain::number(text, base);
  std::uint32_t value = 77;
  const NumberReading reading = to_uint32(text, base, value);
  assert(value == plain::uint32(n));
  assert((reading == NumberReading::kNoDigits) == !n.digits);
  assert((reading == NumberReading::kOutOfRange) == (n.amount > UINT32_MAX));
}

static void check_key(std::string_view key) {
  const auto [parts, name, field, index, value] = split_definition_key(key, "");
  assert(std::string(name).append(field).append(index) == key && field == plain::field_word(key));
  assert(parts == (field.empty() ? 0 : index.empty() ? 1 : 2));
  assert(parts == 0 || key.find(field) == name.size());
}

extern "C" int LLVMFuzzerTestOneInput(const char* data, std::size_t size) {
  const std::string_view text(data, size);
  for (const int base : {10, 16}) check_numbers(text, base);
  check_key(text);
  const TemplateValues values{{{"a", "{{b}}\\"}, {"b", "n"}, {"date", "Date"}}, "", "12:00", -5};
  const auto value = [&](std::string_view name) { return template_value(values, name); };
  assert(expand_templates(values, text) == plain::unescape(plain::expand(text, value)));
  assert(s_hex_to_ascii(text) == plain::bytes(text));
  return 0;
}
