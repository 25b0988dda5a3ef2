// frmFormulaListener: the modal dialog in which the user edits a formula listener.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/dialog.h"
#include "host/notebook_objects.h"
#include "listener/configuration.h"
#include "values/leak_check.h"

namespace ktformula {

// Lists the definitions and the columns of the watched table, and edits the selected one in two
// boxes. It works on the listener's own dictionaries: an entry is stored when the user leaves it
// and when the dialog has closed, whichever way it closed. There is no cancel.
//
// An entry whose boxes were not touched is never stored, so that looking at a text which the boxes
// can not show as it is does no harm.
class frmFormulaListener final : public DialogEvents, private LeakCounted<frmFormulaListener> {
 public:
  static constexpr std::string_view kClassName = "frmFormulaListener";

  explicit frmFormulaListener(Ref<DialogForm> form) : form_(std::move(form)) {}
  frmFormulaListener(const frmFormulaListener&) = delete;
  frmFormulaListener& operator=(const frmFormulaListener&) = delete;
  // Unloads the form.
  ~frmFormulaListener();

  // Loads the form and shows the first entry. Wanted once and before anything else; the
  // dictionaries are borrowed for the life of the dialog. Keys of properties are not 0, which
  // stands for the definitions.
  void Load(PropertyFormulas& property_formulas, PropertyFormulas& definitions,
            const ELNProperties& properties);
  void ShowModal() { form_->ShowModal(); }
  // Stores the entry that is shown; whether the dialog has changed any entry since Load.
  bool Changed();

  void Form_Load() override;
  void Form_Deactivate() override { StoreShownEntry(); }
  void mSourcePropertyComboBox_Click() override;
  void mFormulaTextBox_GotFocus() override;
  void mFormulaTextBox_LostFocus() override;
  void mFormatTextBox_GotFocus() override { Hook(form_->mFormatTextBox()); }
  void mFormatTextBox_LostFocus() override { Unhook(form_->mFormatTextBox()); }
  void mOKButton_Click() override { form_->Hide(); }

 private:
  // What the two boxes show.
  struct BoxTexts {
    std::u16string formula;
    std::u16string format;
    bool operator==(const BoxTexts&) const = default;
  };

  BoxTexts TextsOf(std::u16string_view key) const;
  BoxTexts ReadBoxes() const;
  void ShowEntry(std::u16string_view key);
  void StoreShownEntry();
  void Hook(DialogTextBox& box);
  void Unhook(DialogTextBox& box) noexcept;

  Ref<DialogForm> form_;
  PropertyFormulas* property_formulas_ = nullptr;
  PropertyFormulas* definitions_ = nullptr;
  // The key of the entry that is shown: "" before the first, "0" for the definitions.
  std::u16string shown_key_;
  // The boxes when the entry was shown or last stored.
  BoxTexts shown_texts_;
  bool changed_ = false;
  // The box whose window is hooked: the one that has the focus.
  DialogTextBox* hooked_box_ = nullptr;
};

}  // namespace ktformula
