#include "core/text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace kovo {
namespace {

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::string_view truncated(std::string_view text, std::size_t limit) {
  return text.substr(0, limit);
}

std::string_view until_nul(std::string_view text) {
  return text.substr(0, text.find('\0'));
}

std::string_view until_newline(std::string_view text) {
  return text.substr(0, text.find('\n'));
}

std::string_view strip_newline(std::string_view text) {
  if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
  return text;
}

bool contains(std::string_view text, std::string_view word) {
  return text.find(word) != std::string_view::npos;
}

bool equals_nocase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && starts_with_nocase(a, b);
}

bool starts_with_nocase(std::string_view text, std::string_view prefix) {
  if (text.size() < prefix.size()) return false;
  return std::equal(prefix.begin(), prefix.end(), text.begin(),
                    [](char a, char b) { return lower(a) == lower(b); });
}

std::string lower_ascii(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), lower);
  return result;
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

KeyValue split_key_value(std::string_view text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) return {false, text, {}};
  return {true, text.substr(0, equals), text.substr(equals + 1)};
}

std::vector<std::string_view> split_lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::string_view line = until_newline(text);
    lines.push_back(line);
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
  return lines;
}

std::int32_t to_int32(std::string_view text, int base) {
  const long long value = std::strtoll(std::string(text).c_str(), nullptr, base);
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<long long>(value, Limits::min(), Limits::max()));
}

NumberReading to_uint32(std::string_view text, int base, std::uint32_t& value) {
  constexpr long long kMax = std::numeric_limits<std::uint32_t>::max();
  const std::string digits(text);
  char* end = nullptr;
  const long long wide = std::strtoll(digits.c_str(), &end, base);
  value = static_cast<std::uint32_t>(wide);
  if (end == digits.c_str()) return NumberReading::kNoDigits;
  if (wide >= -kMax && wide <= kMax) return NumberReading::kOk;
  value = static_cast<std::uint32_t>(kMax);
  return NumberReading::kOutOfRange;
}

std::string date_text(const std::tm& time) {
  char buffer[128];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d ", time.tm_year + 1900, time.tm_mon + 1,
                time.tm_mday);
  return buffer;
}

std::string time_text(const std::tm& time) {
  char buffer[128];
  std::snprintf(buffer, sizeof buffer, "%02d:%02d:%02d", time.tm_hour, time.tm_min, time.tm_sec);
  return buffer;
}

const char* error_text(int error) {
  return std::strerror(error);
}

}  // namespace kovo
