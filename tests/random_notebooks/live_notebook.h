// A plan come to life: a form with listeners, and what the plan's host does.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "random_notebooks/plan.h"

#include "formula/function_registry.h"
#include "host/framework.h"
#include "listener/ikt_formula_listener.h"
#include "notebook/tables/model.h"
#include "notebook/tables/recalculation.h"
#include "notebook/tables/watched_form.h"

namespace random_notebooks {

using ktformula::Ref;

// What is to make no difference to what a notebook shows.
struct Mode {
  std::string_view name;
  ktnotebook::Promises promises;
  // Whether each recalculation meets objects that know of none before.
  bool fresh = false;
  // Does harm after each round: to see that it is found.
  std::function<void(ktnotebook::NotebookForm&)> tamper = {};
};

// How rounds went.
struct Rounds {
  int count = 0;
  bool settled = false;
  // What reached the host; "" for nothing.
  std::u16string raised;

  bool operator==(const Rounds&) const = default;
};

class LiveNotebook {
 public:
  LiveNotebook(const NotebookPlan& plan, const Mode& mode);
  LiveNotebook(const LiveNotebook&) = delete;
  LiveNotebook& operator=(const LiveNotebook&) = delete;

  void Apply(const Edit& edit);
  // In a fresh mode, makes everything anew as it is, but for what was parsed.
  void Renew();
  // Runs at most so many rounds; the form's log tells which cells changed.
  Rounds Recalculate(int maximum_rounds, const Step& step);

  ktnotebook::NotebookForm& Form() const noexcept { return *form_; }
  const Mode& OwnMode() const noexcept { return mode_; }
  // The formula that computes the column; "" for none.
  std::u16string FormulaOf(const ktnotebook::NotebookColumn& column) const;
  // How often the host's functions were called.
  std::uint64_t Calls() const noexcept { return calls_; }
  // The functions that formulas find: the language's and the host's, which count their calls here.
  std::span<const ktformula::FunctionClass> Functions() const noexcept { return functions_; }
  // The form for the engine's analysis.
  ktformula::WatchedForm Watched() const { return ktnotebook::WatchForm(*form_); }

 private:
  class HostFunction;

  struct LiveListener {
    // What it is to be configured with; changed with it.
    ListenerPlan plan;
    bool terminated = false;
    Ref<ktformula::IKtFieldListener> object;
    ktformula::IKtFormulaListener* face = nullptr;
  };

  // A form with the plan's tables, columns and listeners, as these are now, and without rows.
  Ref<ktnotebook::NotebookForm> MakeForm();
  void AddColumns(ktnotebook::NotebookTable& table, std::size_t index) const;
  void AddListener(ktnotebook::NotebookTable& table, std::size_t index, LiveListener& listener);
  std::optional<ktnotebook::NotebookCell> CellOf(const Edit& edit) const;
  LiveListener* ListenerOf(const Edit& edit);
  void Configure(LiveListener& listener, const Edit& edit);
  void AddRow(const Edit& edit);
  void Notify(const Edit& edit);
  void CallPoke();

  const NotebookPlan& plan_;
  const Mode& mode_;
  std::vector<ktformula::FunctionClass> functions_;
  Ref<ktnotebook::NotebookUnitCatalogue> units_;
  Ref<ktformula::HostFramework> framework_;
  // By table.
  std::vector<std::vector<LiveListener>> listeners_;
  std::uint64_t calls_ = 0;
  std::uint64_t pokes_ = 0;
  bool is_poking_ = false;
  Ref<ktnotebook::NotebookForm> form_;
};

}  // namespace random_notebooks
