// What commands and the page do to the structure of a form, whoever keeps it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "notebook/commands/address.h"
#include "notebook/files/notebook_error.h"
#include "notebook/store/notebook_store.h"
#include "notebook/tables/edits.h"

namespace ktnotebook {

// What the next new table, and the next new property, may have for their keys.
struct FreeKeys {
  std::int32_t table = 1;
  std::int32_t property = 1;
};
// Those behind all keys of the forms and `in_use`; smaller ones when somebody chose the largest
// key that there is.
FreeKeys FindFreeKeys(const std::vector<Ref<NotebookForm>>& forms,
                      const NotebookStore::Keys& in_use);

// A place among siblings: in front of or behind one of them, or counted from 0; without any of it
// the end.
struct PartPlace {
  std::optional<std::u16string> before = std::nullopt;
  std::optional<std::u16string> after = std::nullopt;
  std::optional<std::size_t> at = std::nullopt;
};
// The place that something new gets among the siblings, or the one that is there at `own`. Throws
// NotebookError when there is no such place.
std::size_t IndexAmong(const Names& siblings, const PartPlace& place,
                       std::optional<std::size_t> own);

struct NewPart {
  PartPlace place;
  // Of a column; by default of numbers when it has a unit or formatting, else of texts.
  std::optional<std::u16string> type = std::nullopt;
  std::optional<std::u16string> unit = std::nullopt;
  bool number_formatting = false;
  // Of a row.
  std::vector<std::pair<std::u16string, std::u16string>> tags = {};
};

// The formulas that an edit gave another meaning, each with its references:
// "F/T:Share ([Mass], [T:Mass])".
using FormulaList = std::vector<std::string>;
std::string FormulaListText(const FormulaList& formulas);

// A removal that would take from formulas what they refer to.
class LostByFormulas : public NotebookError {
 public:
  explicit LostByFormulas(FormulaList formulas)
      : NotebookError("formulas refer to it: " + FormulaListText(formulas)),
        formulas_(std::move(formulas)) {}

  const FormulaList& Formulas() const noexcept { return formulas_; }

 private:
  FormulaList formulas_;
};

// Each is one step of the edits, or refused with NotebookError and then nothing has changed.
// Nothing is recalculated.

// Gives the formulas that name rows by numbers which are those of other rows now; refuses a name
// that comes between formulas and what they mean. Asks for keys when it needs one.
FormulaList AddPartTo(FormEdits& edits, const NewPartAddress& address, const NewPart& part,
                      const std::function<FreeKeys()>& keys);
// Formulas follow. Whether a form's name is free has been asked before.
void RenamePartOf(FormEdits& edits, const PartAddress& part, std::u16string_view name);
// A field, column or row. Gives what AddPartTo gives.
FormulaList MovePartOf(FormEdits& edits, const PartAddress& part, const PartPlace& place);
// A field, column or row. Gives the formulas that have lost it; without `force` there must be none,
// else LostByFormulas is thrown.
FormulaList RemovePartOf(FormEdits& edits, const PartAddress& part, bool force);
// Several rows, by their indexes from 0 in any order, each named once.
FormulaList RemoveRowsOf(FormEdits& edits, NotebookTable& table, std::vector<std::size_t> rows,
                         bool force);

// Refuses a name that one of the forms has.
void RequireFreeFormName(const Names& form_names, std::u16string_view name);

}  // namespace ktnotebook
