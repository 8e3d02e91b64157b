#include "tests/runner/script.h"

#include <cstdio>
#include <map>
#include <sstream>

namespace kovo::device {
namespace {

// What stands behind a backslash, and for what.
const std::map<char, std::string> kLetters = {
    {'n', "\n"}, {'r', "\r"}, {'t', "\t"}, {'\\', "\\"}, {'\n', ""}};

std::string hex(char c) {
  char digits[3];
  std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned char>(c));
  return digits;
}

/// The definition lines of "EVENT INDEX PROTOCOL IP PORT DELAY PAYLOAD"; "-" is no delay.
std::string step_lines(const std::string& step) {
  std::istringstream words(step);
  std::string event, index, value, payload, lines;
  words >> event >> index;
  for (const char* field : {"Protocol", "IP", "Port", "Delay"}) {
    words >> value;
    if (value != "-") lines += event + field + index + "=" + unescape(value) + "\n";
  }
  std::getline(words.ignore(), payload);
  lines += event + "Data" + index + "=";
  for (const char c : unescape(payload)) lines += hex(c);
  return lines + "\n";
}

ScriptLine read_line(int number, const std::string& source) {
  static const std::regex form(R"( *([~?]?)([^ #]\S*|) ?((\S*) ?(.*)))");
  std::smatch found;
  std::regex_match(source, found, form);
  return {number, found[1], found[2], found[3], found[4], unescape(found[5]), source + "\n", {}};
}

}  // namespace

Block read_script(const std::string& text) {
  static const std::regex continuation(R"( *([|+]) ?(.*))");
  Block script(1);
  std::istringstream stream(text);
  std::string source;
  for (int number = 1; std::getline(stream, source); ++number) {
    Block& block = script.back().block;
    std::smatch found;
    if (std::regex_match(source, found, continuation)) {
      ScriptLine& above = block.empty() ? script.back() : block.back();
      above.text += found[1] == "+" ? step_lines(found[2]) : unescape(found.str(2) + "\n");
      above.source += source + "\n";
    } else {
      (source[0] == ' ' ? block : script).push_back(read_line(number, source));
    }
  }
  return script;
}

std::vector<std::string> split_texts(const std::string& text) {
  static const std::regex parting(" ;; ");
  return {std::sregex_token_iterator(text.begin(), text.end(), parting, -1), {}};
}

std::string unescape(const std::string& text) {
  static const std::regex coded(R"(<(.)\*(\d+)>|\\x(..)|\\([^]))");
  return replace_each(text, coded, [](const std::smatch& found) {
    if (found[1].matched) return std::string(std::stoul(found[2]), *found[1].first);
    if (found[3].matched)
      return std::string(1, static_cast<char>(std::stoi(found[3], nullptr, 16)));
    const auto letter = kLetters.find(*found[4].first);
    return letter == kLetters.end() ? found.str(4) : letter->second;
  });
}

std::string escape(const std::string& text) {
  static const std::regex coded(R"(([!-~])\1{31,}|[\x00-\x1F\x7F\\]| $)");
  return replace_each(text, coded, [](const std::smatch& found) {
    const char c = *found[0].first;
    if (found[1].matched) return std::string("<") + c + "*" + std::to_string(found.length()) + ">";
    for (const auto& [letter, meaning] : kLetters) {
      if (meaning == found.str()) return std::string("\\") + letter;
    }
    return "\\x" + hex(c);
  });
}

std::string escape_record(const std::string& record) {
  const bool ends = record.back() == '\n' || record.back() == '\x1e';
  return ends ? escape(record.substr(0, record.size() - 1)) : escape(record) + "\\";
}

std::string replace_each(const std::string& text, const std::regex& form,
                         const std::function<std::string(const std::smatch&)>& made_of) {
  std::string result;
  auto rest = text.begin();
  for (std::sregex_iterator found(text.begin(), text.end(), form), end; found != end; ++found) {
    result.append(rest, (*found)[0].first).append(made_of(*found));
    rest = (*found)[0].second;
  }
  return result.append(rest, text.end());
}

}  // namespace kovo::device
