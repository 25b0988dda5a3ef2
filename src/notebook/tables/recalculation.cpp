#include "notebook/tables/recalculation.h"

#include <algorithm>

#include "values/number_text.h"

namespace ktnotebook {

namespace {

class FormNotification final : public ktformula::NotificationSource {
 public:
  explicit FormNotification(NotebookForm& form) : form_(form) {}

  std::u16string TypeName() const override { return u"Notification"; }
  Ref<ktformula::Form> FormObject() override { return Ref<ktformula::Form>(&form_); }

 private:
  NotebookForm& form_;
};

constexpr std::uint64_t kLeastRounds = 8;
constexpr std::uint64_t kMostRounds = 10'000;

}  // namespace

int RoundLimit(const NotebookForm& form) {
  std::uint64_t cells = 0;
  for (const NotebookTable* table : form.Tables()) {
    const auto columns = std::count_if(
        table->Columns().begin(), table->Columns().end(),
        [table](const Ref<NotebookColumn>& column) { return table->HasFormula(*column); });
    cells += static_cast<std::uint64_t>(columns) * static_cast<std::uint64_t>(table->RowCount());
  }
  return static_cast<int>(std::clamp(cells + 1, kLeastRounds, kMostRounds));
}

RecalculationResult RecalculateForm(NotebookForm& form, int maximum_rounds,
                                    const NotebookTable* first) {
  const ktformula::LocaleScope kept_in(form.OwnLocale().separators);
  std::vector<NotebookTable*> tables = form.Tables();
  std::stable_partition(tables.begin(), tables.end(),
                        [first](const NotebookTable* table) { return table == first; });
  const Ref<FormNotification> source = ktformula::MakeRef<FormNotification>(form);
  RecalculationResult result;
  while (result.rounds < maximum_rounds && !result.settled) {
    WriteLog& log = form.Log();
    const std::uint64_t changed_before = log.changed;
    log.round = result.rounds + 1;
    log.finished_before_round = log.finished;
    for (const NotebookTable* table : tables) {
      // A listener may add or remove listeners while it is notified.
      const std::vector<Ref<ktformula::IKtFieldListener>> listeners = table->Listeners();
      for (const auto& listener : listeners)
        listener->TableNotification(*source, nullptr);
    }
    ++result.rounds;
    result.settled = log.changed == changed_before;
  }
  return result;
}

}  // namespace ktnotebook
