#include "check/triggers.h"

#include <algorithm>

#include "check/trigger_sources.h"
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

std::string description(const TriggerSource& source) {
  switch (source.cause) {
    case TriggerCause::kVariable:
    case TriggerCause::kVariablePart:
      return "variable " + source.name;
    case TriggerCause::kSetting:
      return "setting " + source.name;
    case TriggerCause::kPlayback:
      return "the playback selection";
    case TriggerCause::kFirstStart:
      return "the first start after boot";
    case TriggerCause::kDisplay:
      break;
  }
  return "the display connection, by tcp:2700";
}

void add_raiser(Triggers& triggers, const std::string& trigger, const std::string& what,
                unsigned product) {
  std::vector<Raiser>& raisers = triggers.raisers[trigger];
  if (raisers.empty()) triggers.suggester.names.push_back(trigger);
  const auto same = std::find_if(raisers.begin(), raisers.end(),
                                 [&](const Raiser& raiser) { return raiser.what == what; });
  if (same == raisers.end()) {
    raisers.push_back({what, product});
  } else {
    same->products |= product;
  }
}

void add_name(std::vector<std::string>& names, const std::string& name) {
  if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
}

void add_source(Triggers& triggers, const TriggerSource& source, unsigned product) {
  add_raiser(triggers, source.trigger, description(source), product);
  const bool by_variable =
      source.cause == TriggerCause::kVariable || source.cause == TriggerCause::kVariablePart;
  if (!by_variable || (product & triggers.products) == 0) return;
  add_name(triggers.by_variable[lower_ascii(source.name)], source.trigger);
}

bool is_raised(const Triggers& triggers, const std::string& trigger, unsigned product) {
  const auto found = triggers.raisers.find(trigger);
  return found != triggers.raisers.end() &&
         std::any_of(found->second.begin(), found->second.end(),
                     [=](const Raiser& raiser) { return (raiser.products & product) != 0; });
}

/// Adds the words of each row, for what the product raises when the row's variable changes.
void add_words(Triggers& triggers, const Product& product) {
  constexpr std::string_view kPrefix = "setSettings:";
  MappingTable table = mapping_rows(product.variant);
  for (const MappingRow& row : table) {
    const MappingRow* raising = is_raised(triggers, row.status, product.bit)
                                    ? &row
                                    : find_row(table, &MappingRow::variable, row.variable);
    if (raising == nullptr) continue;
    add_name(triggers.by_word[lower_ascii(row.status)], raising->status);
    if (row.setting.empty()) continue;
    add_name(triggers.by_word[lower_ascii(row.setting)], raising->status);
    if (!starts_with_nocase(row.setting, kPrefix)) continue;
    add_name(triggers.by_word[lower_ascii(row.setting.substr(kPrefix.size()))], raising->status);
  }
}

std::vector<std::string> names_of(
    const std::unordered_map<std::string, std::vector<std::string>>& index, std::string_view word) {
  const auto found = index.find(lower_ascii(word));
  return found == index.end() ? std::vector<std::string>() : found->second;
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

std::vector<Variant> variants_of(unsigned products) {
  std::vector<Variant> variants;
  for (const Product& product : kProducts) {
    if ((products & product.bit) != 0) variants.push_back(product.variant);
  }
  return variants;
}

Triggers make_triggers(unsigned products) {
  Triggers triggers;
  triggers.products = products;
  for (const Product& product : kProducts) {
    for (const TriggerSource& source : trigger_sources(product.variant)) {
      add_source(triggers, source, product.bit);
    }
    if ((product.bit & products) != 0) add_words(triggers, product);
  }
  triggers.suggester = make_suggester(std::move(triggers.suggester.names));
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

std::vector<std::string> triggers_of_word(const Triggers& triggers, std::string_view word) {
  return names_of(triggers.by_word, word);
}

std::vector<std::string> triggers_of_variable(const Triggers& triggers, std::string_view variable) {
  return names_of(triggers.by_variable, variable);
}

}  // namespace kovo::check
