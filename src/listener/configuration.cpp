#include "listener/configuration.h"

#include <utility>

namespace ktformula {

namespace {

bool Holds(const PropertyFormula& entry, std::u16string_view formula, std::u16string_view format) {
  return entry.Formula == formula && entry.StringFormat == format;
}

}  // namespace

bool PutFormula(PropertyFormulas& formulas, std::u16string_view key, std::u16string_view formula,
                std::u16string_view format) {
  const auto* known = formulas.Find(key);
  if (known != nullptr && Holds(**known, formula, format)) return false;
  auto entry = std::make_shared<PropertyFormula>(formula, format);
  formulas.Remove(key);
  return formulas.Add(key, std::move(entry));
}

bool PutOrRemoveFormula(PropertyFormulas& formulas, std::u16string_view key,
                        std::u16string_view formula, std::u16string_view format) {
  if (!formula.empty()) return PutFormula(formulas, key, formula, format);
  const auto* known = formulas.Find(key);
  if (known == nullptr || Holds(**known, formula, format)) return false;
  formulas.Remove(key);
  return true;
}

bool RemoveAllBut(PropertyFormulas& formulas, const KeySet& kept) {
  PropertyFormulas remaining;
  for (const auto& [key, formula] : formulas) {
    if (kept.contains(key)) remaining.Add(key, formula);
  }
  const bool removes = remaining.Size() < formulas.Size();
  formulas = std::move(remaining);
  return removes;
}

}  // namespace ktformula
