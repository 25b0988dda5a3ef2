// What a formula listener is configured with: formulas of columns and named definitions.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "formula/token_tree.h"
#include "listener/ikt_formula_listener.h"
#include "values/leak_check.h"

namespace ktformula {

// One formula. Whoever changes Formula empties TokenTree.
struct PropertyFormula : private LeakCounted<PropertyFormula> {
  static constexpr std::string_view kClassName = "PropertyFormula";

  PropertyFormula() = default;
  PropertyFormula(std::u16string_view formula, std::u16string_view string_format)
      : Formula(formula), StringFormat(string_format) {}

  std::u16string Formula;
  // The pattern passed to the result format: "" for none, "%" for a percentage.
  std::u16string StringFormat;
  // The parsed formula; empty until it is first needed.
  std::shared_ptr<const ktformula::TokenTree> TokenTree;
};

// The table behind PropertyFormulas: formulas by text, in the order of their being added. A host
// may keep it, and change it at any time; what it puts in that is no formula under a text is passed
// over.
class FormulaDictionary {
 public:
  using Formula = std::shared_ptr<PropertyFormula>;
  struct Entry {
    std::u16string key;
    Formula formula;
  };

  FormulaDictionary() = default;
  FormulaDictionary(const FormulaDictionary&) = delete;
  FormulaDictionary& operator=(const FormulaDictionary&) = delete;
  virtual ~FormulaDictionary() = default;

  // Keys compare exactly. Empty when there is no formula under the key.
  virtual Formula Find(std::u16string_view key) const = 0;
  virtual std::vector<Entry> Entries() const = 0;
  // Never again the same once an entry has come or gone; empty where that is not known.
  virtual std::optional<std::uint64_t> Stamp() const { return std::nullopt; }
  // Adds the formula at the end, in place of whatever stands under the key.
  virtual void Put(std::u16string_view key, Formula formula) = 0;
  virtual void Remove(std::u16string_view key) = 0;
  virtual void Clear() = 0;
};

// Formulas by key. Whatever changes them keeps a formula that stays the same in text and format,
// parsed formula and place included, and puts any other at the end as a new one.
class PropertyFormulas {
 public:
  // With a hashed table of its own.
  PropertyFormulas();
  explicit PropertyFormulas(std::unique_ptr<FormulaDictionary> formulas)
      : formulas_(std::move(formulas)) {}

  // Empty when there is none.
  std::shared_ptr<PropertyFormula> Find(std::u16string_view key) const {
    return formulas_->Find(key);
  }
  std::vector<FormulaDictionary::Entry> Entries() const { return formulas_->Entries(); }
  std::vector<FormulaText> Texts() const;
  std::optional<std::uint64_t> Stamp() const { return formulas_->Stamp(); }
  void Clear() { formulas_->Clear(); }

  // These tell whether they changed anything.
  bool Put(std::u16string_view key, std::u16string_view formula, std::u16string_view format);
  // The same, except that an empty formula removes the entry.
  bool PutOrRemove(std::u16string_view key, std::u16string_view formula,
                   std::u16string_view format);
  // Puts all of these, of which the last one counts for its key, and removes what is not among
  // them.
  bool PutAll(const std::vector<FormulaText>& formulas);
  // The same, except that these stand in their order afterwards.
  void Replace(const std::vector<FormulaText>& formulas);

 private:
  std::unique_ptr<FormulaDictionary> formulas_;
};

struct FormulaConfiguration {
  // By property key, as decimal text.
  PropertyFormulas property_formulas;
  // By name.
  PropertyFormulas definitions;
};

}  // namespace ktformula
