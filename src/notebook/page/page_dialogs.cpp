#include "notebook/page/page_dialogs.h"

#include <random>

#include "values/text.h"

namespace ktnotebook {

namespace {

constexpr std::size_t kMostOpen = 32;
// After which a dialog is taken for forgotten, and when others need the room.
constexpr auto kForgotten = std::chrono::hours(1);
constexpr auto kUnused = std::chrono::minutes(5);

std::string RandomName() {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::random_device device;
  std::uniform_int_distribution<std::size_t> digit(0, kDigits.size() - 1);
  std::string name(32, '0');
  for (char& each : name)
    each = kDigits[digit(device)];
  return name;
}

}  // namespace

ListenerTexts TextsOf(const ktformula::IKtFormulaListener* listener) {
  if (listener == nullptr) return {};
  return {listener->ColumnFormulas(), listener->Definitions()};
}

PageDialog::PageDialog(const DialogSubject& subject, NotebookTable& table,
                       const ktformula::IKtFormulaListener* listener, std::int32_t locale)
    : subject_(subject),
      before_(TextsOf(listener)),
      form_(ktformula::MakeRef<PageDialogForm>(locale)),
      dialog_(form_) {
  formulas_.Replace(before_.formulas);
  definitions_.Replace(before_.definitions);
  dialog_.Load(formulas_, definitions_,
               *table.Parent().OwnerOf(table.OwnField())->WatchedProperties());
}

std::optional<ListenerTexts> PageDialog::Changes() {
  if (!dialog_.Changed()) return std::nullopt;
  return ListenerTexts{formulas_.Texts(), definitions_.Texts()};
}

std::u16string PageDialog::ColumnName(std::u16string_view key) {
  for (const auto& [name, data] : form_->mSourcePropertyComboBox().items) {
    if (ktformula::ToDecimalText(data) == key) return name;
  }
  return std::u16string(key);
}

std::string PageDialogs::Add(std::unique_ptr<PageDialog> dialog) {
  EndUnused(open_.size() < kMostOpen ? Clock::duration(kForgotten) : kUnused);
  if (open_.size() >= kMostOpen) return {};
  std::string id = RandomName();
  open_[id] = {std::move(dialog), Clock::now()};
  return id;
}

PageDialog* PageDialogs::Find(const std::string& id) {
  EndUnused(kForgotten);
  const auto found = open_.find(id);
  if (found == open_.end()) return nullptr;
  found->second.last_use = Clock::now();
  return found->second.dialog.get();
}

void PageDialogs::EndUnused(Clock::duration unused_for) {
  const Clock::time_point now = Clock::now();
  std::erase_if(open_, [&](const auto& each) { return now - each.second.last_use > unused_for; });
}

}  // namespace ktnotebook
