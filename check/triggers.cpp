#include "check/triggers.h"

#include <algorithm>

#include "definitions/settings.h"
#include "frame/text.h"

namespace kovo::check {
namespace {

struct Product {
  const char* name;
  unsigned bit;
  Variant variant;
};

constexpr Product kProducts[] = {
    {"input-hdmi", kInputHdmi, {1, 0}},
    {"input-usbc", kInputUsbc, {1, 1}},
    {"output", kOutput, {0, 0}},
};

struct Dedicated {
  const char* variable;
  const char* trigger;
};

// Raised by what a variable's value says, beside or instead of its row.
constexpr Dedicated kDedicated[] = {
    {"S0_BAUDRATE", "serialBaud"},
    {"S0_BAUDRATE", "serialNumBits"},
    {"S0_BAUDRATE", "serialParity"},
    {"S0_BAUDRATE", "serialStopBits"},
    {"V_OUTPUT_TIMING_CONVERT", "YCbCrOutput"},
    {"WPA_EAP_MODE", "p8021enable"},
    {"WPA_EAP_MODE", "p8021status"},
};

constexpr const char* kPlayback[] = {"playMode", "localPlayList", "localPlay"};
constexpr const char* kDisplay[] = {"DVIConnected", "DVIDisconnected"};

void add_raiser(Triggers& triggers, const std::string& trigger, const std::string& what,
                unsigned product) {
  std::vector<Raiser>& raisers = triggers.raisers[trigger];
  if (raisers.empty()) triggers.speller.names.push_back(trigger);
  const auto same = std::find_if(raisers.begin(), raisers.end(),
                                 [&](const Raiser& raiser) { return raiser.what == what; });
  if (same == raisers.end()) {
    raisers.push_back({what, product});
  } else {
    same->products |= product;
  }
}

void add_variable(Triggers& triggers, const std::string& variable, const std::string& trigger,
                  unsigned product) {
  add_raiser(triggers, trigger, "variable " + variable, product);
  if ((product & triggers.products) == 0) return;
  std::vector<std::string>& names = triggers.by_variable[lower_ascii(variable)];
  if (std::find(names.begin(), names.end(), trigger) == names.end()) names.push_back(trigger);
}

/// A change finds the first row of its variable alone, and raises nothing by rows without one.
void add_rows(Triggers& triggers, const Product& product) {
  const MappingTable table = mapping_rows(product.variant);
  for (const MappingRow& row : table) {
    if (find_row(table, &MappingRow::variable, row.variable) != &row) continue;
    add_variable(triggers, row.variable, row.status, product.bit);
  }
}

}  // namespace

unsigned product_of(std::string_view name) {
  for (const Product& product : kProducts) {
    if (name == product.name) return product.bit;
  }
  return 0;
}

Variant variant_of_product(unsigned products) {
  for (const Product& product : kProducts) {
    if (products == product.bit) return product.variant;
  }
  return variant_of("");
}

Triggers make_triggers(unsigned products) {
  Triggers triggers;
  triggers.products = products;
  for (const char* name : kDisplay) {
    add_raiser(triggers, name, "the display connection, by tcp:2700", kAnyProduct);
  }
  add_raiser(triggers, "PowerOn", "the first start after boot", kAnyProduct);
  for (const Product& product : kProducts) add_rows(triggers, product);
  for (const Dedicated& row : kDedicated) {
    add_variable(triggers, row.variable, row.trigger, kAnyProduct);
  }
  for (const char* name : kSettingNames) {
    add_raiser(triggers, name, std::string("setting ") + name, kAnyProduct);
  }
  for (const char* name : kPlayback) {
    add_raiser(triggers, name, "the playback selection", kAnyProduct);
  }
  return triggers;
}

std::vector<std::string> raised_by(const Triggers& triggers, std::string_view trigger) {
  std::vector<std::string> result;
  const auto found = triggers.raisers.find(std::string(trigger));
  if (found == triggers.raisers.end()) return result;
  for (const Raiser& raiser : found->second) {
    if ((raiser.products & triggers.products) == 0) continue;
    std::string what = raiser.what;
    if (triggers.products == kAnyProduct && raiser.products != kAnyProduct) {
      const char* before = " on ";
      for (const Product& product : kProducts) {
        if ((raiser.products & product.bit) == 0) continue;
        what.append(before).append(product.name);
        before = ", ";
      }
    }
    result.push_back(std::move(what));
  }
  return result;
}

std::vector<std::string> triggers_of_variable(const Triggers& triggers, std::string_view variable) {
  const auto found = triggers.by_variable.find(lower_ascii(variable));
  return found == triggers.by_variable.end() ? std::vector<std::string>() : found->second;
}

}  // namespace kovo::check
