#include "core/templates.h"

#include <gtest/gtest.h>

namespace kovo {
namespace {

TEST(Templates, ExpandedPayloadsHaveALimit) {
  const std::string text(1000, 'x');
  const TemplateValues values = {
      {{"x", text}, {"n", replace_all(text, "x", "\\n")}}, "2024-11-29 ", "18:16:18", 42};
  const auto expanded = [&](std::string_view placeholder, int times) {
    std::string payload;
    while (times-- > 0) payload += placeholder;
    return expand_templates(values, payload);
  };
  EXPECT_EQ(expanded("{{x}}", 16), std::string(16000, 'x'));
  EXPECT_EQ(expanded("{{x}}", 200), std::string(kMaxExpanded, 'x'));
  EXPECT_EQ(expanded("{{n}}", 200), std::string(kMaxExpanded, '\n'));
}

}  // namespace
}  // namespace kovo
