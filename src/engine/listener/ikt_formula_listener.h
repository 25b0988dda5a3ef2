// IKtFormulaListener: what a host does with the formulas of a table.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/notebook_objects.h"
#include "host/ref.h"

namespace ktformula {

class CellValue;

inline constexpr std::u16string_view kFormulaListenerIdentifier = u"KtFormula9.FormulaListener";

// A formula of the configuration, as it was given.
struct FormulaEntry {
  std::u16string formula;
  // The pattern that a column shows its results in: "" for none, "%" for a percentage. Definitions
  // have none.
  std::u16string string_format;
};

// A formula as it is stored and shown.
struct FormulaText {
  // Of a column its key as decimal text, of a definition its name.
  std::u16string key;
  std::u16string formula;
  std::u16string string_format;

  bool operator==(const FormulaText&) const = default;
};

// Formulas go in and out as texts, so that the listener may live in another module than its host.
class IKtFormulaListener : public virtual HostObject {
 public:
  // The formula of the column of this key; empty when it has none.
  virtual std::optional<FormulaEntry> FormulaOf(std::int32_t property_key) const = 0;
  // The definition of exactly this name; empty when there is none.
  virtual std::optional<FormulaEntry> DefinitionOf(std::u16string_view name) const = 0;

  // All formulas of columns, and all definitions, each in the order in which they are kept.
  virtual std::vector<FormulaText> ColumnFormulas() const = 0;
  virtual std::vector<FormulaText> Definitions() const = 0;

  // Gives the column of this key a formula, which becomes the last one unless it is the same as
  // before; an empty formula removes it.
  virtual void SetPropertyFormula(std::int32_t property_key, std::u16string_view formula,
                                  std::u16string_view string_format) = 0;
  // The same for a named definition.
  virtual void SetDefinition(std::u16string_view name, std::u16string_view formula) = 0;

  // Has exactly these from now on, in this order; those that are the same as before stay.
  virtual void ReplaceFormulas(const std::vector<FormulaText>& formulas,
                               const std::vector<FormulaText>& definitions) = 0;

  // The program identifier of the result format; "" stands for the default format.
  virtual std::u16string ResultFormat() const = 0;
  virtual void SetResultFormat(std::u16string_view program_identifier) = 0;

  // Evaluates a formula as if it stood in the cell, into `target`, in a pass of its own. Raises
  // what the formula raises.
  virtual void EvaluateInCell(std::u16string_view formula, TableCell& cell, CellValue& target) = 0;
};

}  // namespace ktformula
