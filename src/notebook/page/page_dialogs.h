// The properties dialogs that are open in pages.
//
// Each works on copies of what its listener is configured with, so that a page that is closed
// without a word changes nothing, and others can work on meanwhile.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "listener/frm_formula_listener.h"
#include "notebook/page/page_dialog_form.h"
#include "notebook/tables/model.h"

namespace ktnotebook {

// Which table's formulas they are, whatever its form and itself are called meanwhile.
struct DialogSubject {
  std::int64_t form_key = 0;
  std::int32_t table_key = 0;
};

// What a listener is configured with.
struct ListenerTexts {
  std::vector<ktformula::FormulaText> formulas;
  std::vector<ktformula::FormulaText> definitions;

  bool operator==(const ListenerTexts&) const = default;
};
// Of a listener, or of none.
ListenerTexts TextsOf(const ktformula::IKtFormulaListener* listener);

class PageDialog {
 public:
  // Loads the dialog for a table of the notebook, which it does not keep.
  PageDialog(const DialogSubject& subject, NotebookTable& table,
             const ktformula::IKtFormulaListener* listener, std::int32_t locale);
  PageDialog(const PageDialog&) = delete;
  PageDialog& operator=(const PageDialog&) = delete;

  const DialogSubject& Subject() const noexcept { return subject_; }
  // What it found.
  const ListenerTexts& Before() const noexcept { return before_; }
  // What its user has made of it. Stores the entry that is shown.
  std::optional<ListenerTexts> Changes();
  // The column of this key, as the dialog lists it.
  std::u16string ColumnName(std::u16string_view key);

  PageDialogForm& Form() const noexcept { return *form_; }

 private:
  DialogSubject subject_;
  ListenerTexts before_;
  ktformula::PropertyFormulas formulas_;
  ktformula::PropertyFormulas definitions_;
  ktformula::Ref<PageDialogForm> form_;
  ktformula::frmFormulaListener dialog_;
};

// May be used by several threads; a dialog by the one that holds the lock.
class PageDialogs {
 public:
  std::unique_lock<std::mutex> Lock() { return std::unique_lock(mutex_); }

  // All want the lock.

  // Gives its name, which nobody guesses; "" when too many are open that were used just now.
  std::string Add(std::unique_ptr<PageDialog> dialog);
  // nullptr when it is not open any more.
  PageDialog* Find(const std::string& id);
  void End(const std::string& id) { open_.erase(id); }

 private:
  using Clock = std::chrono::steady_clock;
  struct Open {
    std::unique_ptr<PageDialog> dialog;
    Clock::time_point last_use;
  };
  void EndUnused(Clock::duration unused_for);

  std::mutex mutex_;
  std::map<std::string, Open> open_;
};

}  // namespace ktnotebook
