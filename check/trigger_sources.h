// What on the device raises which trigger by itself, product by product. A program can raise any
// trigger by its name on tcp:2700.
#pragma once

#include <string>
#include <vector>

#include "core/mapping_tables.h"

namespace kovo::check {

enum class TriggerCause {
  kVariable,      // a message for the variable, its value not compared
  kVariablePart,  // a message for the variable that changes what is decoded from its value
  kSetting,       // a new text of the setting, on port 2727 or 2728
  kPlayback,      // a status line on port 2728 that changes the playback selection
  kFirstStart,    // the daemon itself, at its first start after boot
  kDisplay,       // the program that watches the display connection, on tcp:2700
};

struct TriggerSource {
  TriggerCause cause;
  std::string name;  // of the variable or setting; "" for the other causes
  std::string trigger;
};

/// Returns all sources of a product. A mapping row that no variable finds is not one.
std::vector<TriggerSource> trigger_sources(Variant variant);

}  // namespace kovo::check
