#include "notebook/tables/recalculation.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "values/number_text.h"

namespace ktnotebook {

namespace {

class FormNotification final : public ktformula::NotificationSource {
 public:
  explicit FormNotification(ktformula::Form& form) : form_(form) {}

  std::u16string TypeName() const override { return u"Notification"; }
  Ref<ktformula::Form> FormObject() override { return Ref<ktformula::Form>(&form_); }

 private:
  ktformula::Form& form_;
};

// Lets the log keep the cells that change as long as this lives.
class KeptChanges {
 public:
  explicit KeptChanges(WriteLog& log)
      : log_(log), first_(log.cells.size()), was_kept_(std::exchange(log.keep_cells, true)) {}
  KeptChanges(const KeptChanges&) = delete;
  KeptChanges& operator=(const KeptChanges&) = delete;
  ~KeptChanges() {
    log_.keep_cells = was_kept_;
    if (!was_kept_) log_.cells.erase(First(), log_.cells.end());
  }

  std::vector<NotebookCell> Cells() const { return {First(), log_.cells.end()}; }

 private:
  std::vector<NotebookCell>::iterator First() const {
    return log_.cells.begin() + static_cast<std::ptrdiff_t>(first_);
  }

  WriteLog& log_;
  std::size_t first_;
  bool was_kept_;
};

// Notifies the listeners of the tables once. A listener may add or remove listeners meanwhile.
void NotifyAll(const std::vector<NotebookTable*>& tables, ktformula::NotificationSource& source) {
  for (const NotebookTable* table : tables) {
    const std::vector<Ref<ktformula::IKtFieldListener>> listeners = table->Listeners();
    for (const auto& listener : listeners)
      listener->TableNotification(source, nullptr);
  }
}

constexpr std::uint64_t kLeastRounds = 8;
constexpr std::uint64_t kMostRounds = 10'000;

}  // namespace

int RoundLimit(std::uint64_t formula_cells) {
  return static_cast<int>(std::clamp(formula_cells + 1, kLeastRounds, kMostRounds));
}

int RoundLimit(const NotebookForm& form) {
  std::uint64_t cells = 0;
  for (const NotebookTable* table : form.Tables()) {
    const auto columns = std::count_if(
        table->Columns().begin(), table->Columns().end(),
        [table](const Ref<NotebookColumn>& column) { return table->HasFormula(*column); });
    cells += static_cast<std::uint64_t>(columns) * static_cast<std::uint64_t>(table->RowCount());
  }
  return RoundLimit(cells);
}

Ref<ktformula::NotificationSource> MakeNotification(ktformula::Form& form) {
  return ktformula::MakeRef<FormNotification>(form);
}

RecalculationResult RecalculateForm(NotebookForm& form, int maximum_rounds,
                                    const NotebookTable* first) {
  const ktformula::LocaleScope kept_in(form.OwnLocale().separators);
  std::vector<NotebookTable*> tables = form.Tables();
  std::stable_partition(tables.begin(), tables.end(),
                        [first](const NotebookTable* table) { return table == first; });
  const Ref<ktformula::NotificationSource> source = MakeNotification(form);
  RecalculationResult result;
  while (result.rounds < maximum_rounds && !result.settled) {
    WriteLog& log = form.Log();
    const std::uint64_t changed_before = log.changed;
    log.round = result.rounds + 1;
    log.finished_before_round = log.finished;
    std::optional<KeptChanges> kept;
    if (result.rounds + 1 == maximum_rounds) kept.emplace(log);
    NotifyAll(tables, *source);
    ++result.rounds;
    result.settled = log.changed == changed_before;
    if (kept) result.unsettled = kept->Cells();
  }
  return result;
}

}  // namespace ktnotebook
