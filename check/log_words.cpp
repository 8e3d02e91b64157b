#include "check/log_words.h"

#include <cctype>

#include "frame/text.h"

namespace kovo::check {

bool skip(std::string_view& text, std::string_view prefix) {
  if (text.substr(0, prefix.size()) != prefix) return false;
  text.remove_prefix(prefix.size());
  return true;
}

bool drop(std::string_view& text, std::string_view suffix) {
  if (text.size() < suffix.size() || text.substr(text.size() - suffix.size()) != suffix) {
    return false;
  }
  text.remove_suffix(suffix.size());
  return true;
}

std::string_view digits_at(std::string_view text) {
  std::size_t size = 0;
  while (size < text.size() && text[size] >= '0' && text[size] <= '9') ++size;
  return text.substr(0, size);
}

std::string_view skip_origin(std::string_view& text) {
  if (text.empty() || text.front() != '[') return {};
  std::size_t end = 1;
  while (end < text.size() &&
         (std::isalnum(static_cast<unsigned char>(text[end])) != 0 || text[end] == '_')) {
    ++end;
  }
  if (end == 1 || end >= text.size() || (text[end] != ':' && text[end] != ';')) return {};
  const std::string_view digits = digits_at(text.substr(end + 1));
  if (digits.empty() || text.substr(end + 1 + digits.size(), 2) != "] ") return {};
  const std::string_view routine = text.substr(1, end - 1);
  text.remove_prefix(end + 1 + digits.size() + 2);
  return routine;
}

bool drop_number(std::string_view& text, std::string_view before, std::string_view after,
                 std::int64_t& number) {
  std::string_view rest = text;
  if (!drop(rest, after)) return false;
  std::size_t size = 0;
  while (size < rest.size() && rest[rest.size() - 1 - size] >= '0' &&
         rest[rest.size() - 1 - size] <= '9') {
    ++size;
  }
  const std::string_view digits = rest.substr(rest.size() - size);
  rest.remove_suffix(size);
  if (digits.empty() || !drop(rest, before)) return false;
  number = to_int32(digits);
  text = rest;
  return true;
}

bool is_main_head(std::string_view text) {
  if (text.empty()) return false;
  if (text.front() == '[') {
    std::string_view rest = text;
    return !skip_origin(rest).empty() || skip(rest, "[kovotcp] Error: send(len=");
  }
  return skip(text, "Error: [") || skip(text, "Error: pthread_create ") || skip(text, "kovotcp V");
}

}  // namespace kovo::check
