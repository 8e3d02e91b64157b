#include "check/triggers.h"

#include <algorithm>

#include "core/change_rules.h"
#include "core/definition_entry.h"
#include "core/setting_rules.h"
#include "core/text.h"

namespace kovo::check {
namespace {

struct Product {
  const char* name;
  unsigned bit;
  Variant variant;
};

constexpr Product kProducts[] = {
    {"input-hdmi", kInputHdmi, Variant::kInputHdmi},
    {"input-usbc", kInputUsbc, Variant::kInputUsbc},
    {"output", kOutput, Variant::kOutput},
};

/// Adds a source of one product, or the product to the same source.
void add_source(std::vector<TriggerSource>& sources, TriggerSource source) {
  for (TriggerSource& same : sources) {
    if (same.cause != source.cause || same.name != source.name || same.trigger != source.trigger) {
      continue;
    }
    same.products |= source.products;
    return;
  }
  sources.push_back(std::move(source));
}

void add_sources(std::vector<TriggerSource>& sources, const Product& product) {
  constexpr char kSerialVariable[] = "S0_BAUDRATE";  // its parts raise triggers, its row does not
  const auto add = [&](TriggerCause cause, std::string_view name, std::string_view trigger) {
    add_source(sources, {cause, std::string(name), std::string(trigger), product.bit});
  };
  add(TriggerCause::kDisplay, "", kDviConnected);
  add(TriggerCause::kDisplay, "", kDviDisconnected);
  add(TriggerCause::kFirstStart, "", kPowerOn);
  for (const auto& [variable, event] : kDedicatedEvents) {
    add(*variable == '\0' ? TriggerCause::kPlayback : TriggerCause::kVariablePart, variable, event);
  }
  for (const SerialField& field : kSerialFields) {
    add(TriggerCause::kVariablePart, kSerialVariable, field.event);
  }
  MappingTable table = mapping_rows(product.variant);
  for (const MappingRow& row : table) {
    if (row.variable == kSerialVariable) continue;
    // A message finds only the first row of its variable.
    if (find_row(table, &MappingRow::variable, row.variable) != &row) continue;
    add(TriggerCause::kVariable, row.variable, row.status);
  }
  for (const char* name : kSettingNames) add(TriggerCause::kSetting, name, name);
}

}  // namespace

unsigned product_of(std::string_view name) {
  for (const Product& product : kProducts) {
    if (name == product.name) return product.bit;
  }
  return 0;
}

std::vector<Variant> variants_of(unsigned products) {
  std::vector<Variant> variants;
  for (const Product& product : kProducts) {
    if ((products & product.bit) != 0) variants.push_back(product.variant);
  }
  return variants;
}

std::string description(const TriggerSource& source) {
  constexpr const char* kTexts[] = {"variable ",
                                    "variable ",
                                    "setting ",
                                    "the playback selection",
                                    "the first start after boot",
                                    "the display connection, by tcp:2700"};
  return kTexts[static_cast<std::size_t>(source.cause)] + source.name;
}

std::vector<TriggerSource> trigger_sources(unsigned products) {
  std::vector<TriggerSource> sources;
  for (const Product& product : kProducts) {
    if ((product.bit & products) != 0) add_sources(sources, product);
  }
  return sources;
}

Triggers make_triggers(unsigned products) {
  Triggers triggers;
  triggers.products = products;
  std::vector<std::string> names;
  for (TriggerSource& source : trigger_sources(kAnyProduct)) {
    const bool by_variable =
        source.cause == TriggerCause::kVariable || source.cause == TriggerCause::kVariablePart;
    if (by_variable && (source.products & products) != 0) {
      std::vector<std::string>& own = triggers.by_variable[lower_ascii(source.name)];
      if (std::find(own.begin(), own.end(), source.trigger) == own.end()) {
        own.push_back(source.trigger);
      }
    }
    std::vector<TriggerSource>& same = triggers.sources[source.trigger];
    if (same.empty()) names.push_back(source.trigger);
    same.push_back(std::move(source));
  }
  triggers.suggester = make_suggester(std::move(names));
  return triggers;
}

std::vector<std::string> raised_by(const Triggers& triggers, std::string_view trigger) {
  std::vector<std::string> result;
  const auto found = triggers.sources.find(std::string(trigger));
  if (found == triggers.sources.end()) return result;
  for (const TriggerSource& source : found->second) {
    if ((source.products & triggers.products) == 0) continue;
    std::string what = description(source);
    if (triggers.products == kAnyProduct && source.products != kAnyProduct) {
      const char* before = " on ";
      for (const Product& product : kProducts) {
        if ((source.products & product.bit) == 0) continue;
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
