// What the device raises by itself, for the rules to look up.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "check/words.h"
#include "core/mapping_tables.h"

namespace kovo::check {

// Product variants, as bits: each has mapping rows of its own.
constexpr unsigned kInputHdmi = 1;
constexpr unsigned kInputUsbc = 2;
constexpr unsigned kOutput = 4;
constexpr unsigned kAnyProduct = kInputHdmi | kInputUsbc | kOutput;

/// Returns the bit of "input-hdmi", "input-usbc" or "output"; 0 for another name.
unsigned product_of(std::string_view name);

/// Returns the variants of some products; the first is also that of an unknown product.
std::vector<Variant> variants_of(unsigned products);

enum class TriggerCause {
  kVariable,      // a message for the variable, its value not compared
  kVariablePart,  // a message for the variable that changes what is decoded from its value
  kSetting,       // a new text of the setting, on port 2727 or 2728
  kPlayback,      // a status line on port 2728 that changes the playback selection
  kFirstStart,    // the daemon itself, at its first start after boot
  kDisplay,       // the program that watches the display connection, on tcp:2700
};

/// What on the device raises a trigger by itself. A program can raise any trigger by its name on
/// tcp:2700.
struct TriggerSource {
  TriggerCause cause;
  std::string name;  // of the variable or setting; "" for the other causes
  std::string trigger;
  unsigned products;  // on which it does
};

/// Returns a source as text, such as "variable DEVICE_NAME".
std::string description(const TriggerSource& source);

/// Returns all sources of some products. A mapping row that no variable finds is not one.
std::vector<TriggerSource> trigger_sources(unsigned products);

struct Triggers {
  unsigned products = kAnyProduct;  // the products whose triggers are valid
  std::unordered_map<std::string, std::vector<TriggerSource>> sources;    // by trigger
  std::unordered_map<std::string, std::vector<std::string>> by_variable;  // lower case
  NameSuggester suggester;                                                // of all triggers
};

Triggers make_triggers(unsigned products);

/// Returns what raises a trigger on these products; empty when only a program that names it does.
std::vector<std::string> raised_by(const Triggers& triggers, std::string_view trigger);

/// Returns the triggers that a change of a variable raises; its name is case-insensitive.
std::vector<std::string> triggers_of_variable(const Triggers& triggers, std::string_view variable);

}  // namespace kovo::check
