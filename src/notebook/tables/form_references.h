// What the references in the formulas of a form mean.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "formula/binding.h"
#include "formula/function_registry.h"
#include "listener/ikt_formula_listener.h"
#include "notebook/tables/model.h"

namespace ktnotebook {

// A formula of a column, or a definition. Borrowed from the form.
struct FormulaPlace {
  NotebookTable* table = nullptr;
  ktformula::IKtFormulaListener* listener = nullptr;
  // nullptr for a definition.
  const NotebookColumn* column = nullptr;
  // As the listener has it.
  ktformula::FormulaText text;
  // FORM/TABLE:COLUMN, or definition FORM/TABLE:NAME, by their names when this was made.
  std::u16string address = {};
};

// Calls `visit` with each formula that is computed, and each definition, of all listeners.
void ForEachFormula(const NotebookForm& form,
                    const std::function<void(const FormulaPlace&)>& visit);

// What a reference stands for, so that it can be compared later on: by the objects, whatever they
// are called, and rows by their ids.
struct Meaning {
  enum class Kind { kUnknown, kNothing, kDefinition, kObject, kCell, kOwnCell, kOwnRow, kStart };

  Kind kind = Kind::kNothing;
  // The object, or the column of the cell.
  const ktformula::NotebookObject* object = nullptr;
  // Whose row it is.
  ktformula::RowRun run = ktformula::kCellRun;
  // The row's id, or the definition's name.
  std::u16string name;

  bool operator==(const Meaning&) const = default;
  // Whether it is something that could be said in other words.
  bool IsOfNotebook() const noexcept {
    return kind != Kind::kUnknown && kind != Kind::kNothing && kind != Kind::kDefinition;
  }
  // For people.
  std::u16string Description() const;
};

struct ReferenceUse {
  // The index of its formula.
  std::size_t formula = 0;
  // Where the text behind "[" begins in it, and the text.
  std::size_t begin = 0;
  std::u16string text;
  ktformula::Standpoint at;
  // Whether it names a table or a column for a function, which asks no definition.
  bool is_named = false;
  Meaning meaning;
};

// All references of a form's formulas with what they mean at that moment. Formulas that can not be
// parsed have none. Borrows the form, whose fields, columns and listeners may come and go.
class FormReferences {
 public:
  explicit FormReferences(const NotebookForm& form);

  const std::vector<FormulaPlace>& Formulas() const noexcept { return formulas_; }
  const std::vector<ReferenceUse>& Uses() const noexcept { return uses_; }

  // What a text in the place of the reference would mean now.
  Meaning MeaningOf(const ReferenceUse& use, std::u16string_view text) const;

  // A row of the table has another id: what meant it means it still.
  void NoteRenamedRow(const NotebookTable& table, std::u16string_view old_id,
                      std::u16string_view new_id);

 private:
  void Add(const FormulaPlace& place);

  ktformula::FunctionRegistry functions_;
  std::vector<FormulaPlace> formulas_;
  std::vector<ReferenceUse> uses_;
};

}  // namespace ktnotebook
