#include "check/log_words.h"

#include "core/text.h"

namespace kovo::check {
namespace {

constexpr char kDigits[] = "0123456789";
constexpr char kRoutineCharacters[] =
    "0123456789_ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

}  // namespace

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
  return text.substr(0, text.find_first_not_of(kDigits));
}

std::string_view skip_origin(std::string_view& text) {
  if (text.empty() || text.front() != '[') return {};
  const std::size_t end = text.find_first_not_of(kRoutineCharacters, 1);
  if (end == 1 || end == std::string_view::npos) return {};
  if (text[end] != ':' && text[end] != ';') return {};
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
  const std::string_view digits = rest.substr(rest.find_last_not_of(kDigits) + 1);
  rest.remove_suffix(digits.size());
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
