// The text rules a second time, in the plainest way, for the fuzzer to hold against the daemon's.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace plain {

struct Number {
  bool digits = false;
  bool negative = false;
  std::uint64_t amount = 0;  // stops growing beyond 2^33
};

inline int digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = static_cast<char>(c | 0x20);
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : 99;
}

inline Number number(std::string_view text, int base) {
  const std::string zero_ended(text);
  const char* at = zero_ended.c_str();
  while (*at == ' ' || (*at >= '\t' && *at <= '\r')) ++at;
  Number result;
  if (*at == '-' || *at == '+') result.negative = *at++ == '-';
  if (base == 16 && at[0] == '0' && (at[1] | 0x20) == 'x' && digit(at[2]) < 16) at += 2;
  for (; digit(*at) < base; ++at) {
    result.digits = true;
    if (result.amount < (1ULL << 33))
      result.amount =
          result.amount * static_cast<unsigned>(base) + static_cast<unsigned>(digit(*at));
  }
  return result;
}

inline std::int32_t int32(std::string_view text, int base) {
  const Number n = number(text, base);
  const std::int64_t value = static_cast<std::int64_t>(n.amount) * (n.negative ? -1 : 1);
  return static_cast<std::int32_t>(value < INT32_MIN   ? INT32_MIN
                                   : value > INT32_MAX ? INT32_MAX
                                                       : value);
}

inline std::uint32_t uint32(const Number& n) {
  if (n.amount > UINT32_MAX) return UINT32_MAX;
  return static_cast<std::uint32_t>(n.negative ? 0 - n.amount : n.amount);
}

/// A byte of each two characters.
inline std::string bytes(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); at += 2) {
    result += static_cast<char>(int32(text.substr(at, 2), 16));
  }
  return result;
}

/// The field word of a definition key: the first of them that does not begin the key.
inline std::string field_word(std::string_view key) {
  for (const char* word : {"Count", "XMLfield", "Protocol", "Delay", "IP", "Port", "Data"}) {
    const bool begins = key.substr(0, std::string_view(word).size()) == word;
    if (!begins && key.find(word) != std::string_view::npos) return word;
  }
  return "";
}

/// Text and placeholders by turns, one character at a time; `value` gives what a name stands for.
template <class Value>
std::string expand(std::string_view text, const Value& value) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const std::size_t end =
        text.substr(at, 2) == "{{" ? text.find("}}", at + 2) : std::string_view::npos;
    if (end == std::string_view::npos) {
      result += text[at];
    } else {
      result += value(text.substr(at + 2, end - at - 2));
      at = end + 1;
    }
  }
  return result;
}

/// The three escape sequences, one character at a time.
inline std::string unescape(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const std::string_view two = text.substr(at, 2);
    const char control = two == "\\n" ? '\n' : two == "\\r" ? '\r' : two == "\\t" ? '\t' : '\0';
    result += control != '\0' ? control : text[at];
    at += control != '\0';
  }
  return result;
}

}  // namespace plain
