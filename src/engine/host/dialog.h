// The properties dialog of a formula listener, as the component sees its window.
//
// The host supplies the window, the component what it does: windows, a page in a browser and a
// test's script differ in nothing else. Controls belong to their form and can be used from
// DialogForm::Load until Unload, also while the form is hidden. Texts have their lines parted by
// carriage return and line feed. Setters call no events: these tell what the user does.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/ref.h"

namespace ktformula {

class DialogLabel {
 public:
  virtual void SetCaption(std::u16string_view caption) = 0;

 protected:
  ~DialogLabel() = default;
};

class DialogTextBox {
 public:
  virtual std::u16string Text() const = 0;
  virtual void SetText(std::u16string_view text) = 0;
  // The name of the font's face.
  virtual void SetFont(std::u16string_view face) = 0;
  // Between the two the form sees the box's input before the box does. Form and box decide what
  // they make of it; a plain box does nothing.
  virtual void HookWindow() = 0;
  virtual void UnhookWindow() noexcept = 0;

 protected:
  ~DialogTextBox() = default;
};

// A drop-down list of entries; its indices count from 0.
class DialogComboBox {
 public:
  virtual void Clear() = 0;
  virtual void AddItem(std::u16string_view text, std::int32_t item_data) = 0;
  virtual std::int32_t ItemData(int index) const = 0;
  // -1 while nothing is selected.
  virtual int ListIndex() const = 0;
  virtual void SetListIndex(int index) = 0;
  virtual void SetFont(std::u16string_view face) = 0;

 protected:
  ~DialogComboBox() = default;
};

class DialogButton {
 public:
  // Whether the Enter key presses this button wherever the focus is.
  virtual void SetDefault(bool is_default) = 0;

 protected:
  ~DialogButton() = default;
};

// What the form tells of itself and its user. What an event raises ends the modal display and
// leaves DialogForm::ShowModal.
class DialogEvents {
 public:
  // The controls are there, with nothing in them.
  virtual void Form_Load() = 0;
  // Another window of the same program has become active.
  virtual void Form_Deactivate() = 0;
  // The user has selected an entry, maybe the same as before.
  virtual void mSourcePropertyComboBox_Click() = 0;
  virtual void mFormulaTextBox_GotFocus() = 0;
  virtual void mFormulaTextBox_LostFocus() = 0;
  virtual void mFormatTextBox_GotFocus() = 0;
  virtual void mFormatTextBox_LostFocus() = 0;
  virtual void mOKButton_Click() = 0;

 protected:
  ~DialogEvents() = default;
};

class DialogForm : public HostObject {
 public:
  // The caption of the list.
  virtual DialogLabel& mSourcePropertyLabel() = 0;
  virtual DialogComboBox& mSourcePropertyComboBox() = 0;
  // Has several lines.
  virtual DialogTextBox& mFormulaTextBox() = 0;
  virtual DialogTextBox& mFormatTextBox() = 0;
  // The default button of a form that was just loaded.
  virtual DialogButton& mOKButton() = 0;
  // The locale identifier of the user, such as 1033.
  virtual std::int32_t UserLocaleIdentifier() const = 0;

  // Makes the controls and calls Form_Load. The events are borrowed until Unload.
  virtual void Load(DialogEvents& events) = 0;
  // Shows the form and returns when it was hidden, by Hide or by the user, who may close it with
  // the window's own means.
  virtual void ShowModal() = 0;
  virtual void Hide() = 0;
  // Takes the form away and calls no event from now on; does nothing unless it is loaded.
  virtual void Unload() noexcept = 0;
};

}  // namespace ktformula
