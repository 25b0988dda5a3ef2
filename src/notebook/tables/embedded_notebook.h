// What stands behind the handles of ktformula9.hpp.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "listener/formula_listener.h"
#include "notebook/tables/edits.h"
#include "notebook/tables/ktformula9.hpp"
#include "notebook/tables/locale_names.h"
#include "notebook/tables/plain_framework.h"

namespace ktnotebook {

// One form with its history, and the functions that its formulas can call besides the language's.
// Used by one thread at a time.
class EmbeddedNotebook {
 public:
  EmbeddedNotebook(std::u16string_view name, NamedLocale locale);

  NotebookForm& Form() const noexcept { return *form_; }
  // Whether the table, which was made here, is still on the form.
  bool Holds(const NotebookTable& table) const;
  // Throws ktformula9::Error while functions run: nothing may be edited then.
  FormEdits& Edits();

  NotebookTable& AddTable(std::u16string_view name);
  // With its formula, in one step.
  NotebookColumn& AddColumn(NotebookTable& table, PropertyDefinition definition,
                            std::u16string_view formula, std::u16string_view format);
  // The listener of the table; it gets one in this step of the history.
  ktformula::IKtFormulaListener& ListenerFor(NotebookTable& table);

  void AddFunction(ktformula9::Function function);
  const std::vector<std::shared_ptr<const ktformula9::Function>>& Functions() const noexcept {
    return functions_;
  }

  // Throws what Edits throws.
  ktformula9::Recalculation Recalculate(int rounds);
  std::vector<ktformula9::Problem> Check();
  ktformula9::Explanation Explain(const NotebookCell& cell, int depth);
  ktformula9::Value Evaluate(const NotebookCell& cell, std::u16string_view formula);

 private:
  class Running;

  Ref<ktformula::FormulaListener> MakeListener(NotebookTable& table);
  // Why a formula is refused; empty when its parts can be told from each other.
  std::optional<ktformula9::Error::Place> UnreadablePlace(NotebookTable& table,
                                                          std::u16string_view formula);

  Ref<PlainFramework> framework_;
  Ref<NotebookForm> form_;
  FormEdits edits_;
  std::vector<std::shared_ptr<const ktformula9::Function>> functions_;
  // All that were ever made for tables: the history may bring any of them back.
  std::vector<Ref<ktformula::FormulaListener>> listeners_;
  std::int32_t last_table_key_ = 0;
  std::int32_t last_property_key_ = 0;
  bool is_running_ = false;
};

// The first listener of the table that computes formulas; nullptr when there is none.
ktformula::IKtFormulaListener* FindListener(const NotebookTable& table);

// The formula and format of a column; both "" for none.
ktformula::FormulaEntry FormulaOf(const NotebookColumn& column);

}  // namespace ktnotebook
