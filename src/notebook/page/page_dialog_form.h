// The properties dialog's form without a window: what its controls hold, for a page to show.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/dialog.h"

namespace ktnotebook {

class PageDialogForm final : public ktformula::DialogForm {
 public:
  struct Label final : ktformula::DialogLabel {
    void SetCaption(std::u16string_view text) override { caption = text; }
    std::u16string caption;
  };

  // Holds only what a browser's box gives back as it was: valid UTF-16, and lines that all end
  // alike.
  class TextBox final : public ktformula::DialogTextBox {
   public:
    explicit TextBox(bool has_lines) : has_lines_(has_lines) {}
    std::u16string Text() const override { return text_; }
    void SetText(std::u16string_view text) override;
    void SetFont(std::u16string_view face) override { font = face; }
    void HookWindow() override {}
    void UnhookWindow() noexcept override {}

    std::u16string font;

   private:
    bool has_lines_;
    std::u16string text_;
  };

  struct ComboBox final : ktformula::DialogComboBox {
    void Clear() override { items.clear(); }
    void AddItem(std::u16string_view text, std::int32_t item_data) override {
      items.emplace_back(text, item_data);
    }
    std::int32_t ItemData(int i) const override { return items.at(std::size_t(i)).second; }
    int ListIndex() const override { return index; }
    void SetListIndex(int new_index) override { index = new_index; }
    void SetFont(std::u16string_view face) override { font = face; }
    std::vector<std::pair<std::u16string, std::int32_t>> items;
    int index = -1;
    std::u16string font;
  };

  struct Button final : ktformula::DialogButton {
    void SetDefault(bool new_is_default) override { is_default = new_is_default; }
    bool is_default = true;
  };

  // The locale identifier is the user's.
  explicit PageDialogForm(std::int32_t locale) : locale_(locale) {}

  // Shown until the dialog hides it.
  bool IsHidden() const noexcept { return is_hidden_; }
  // nullptr unless it is loaded.
  ktformula::DialogEvents* Events() const noexcept { return events_; }

  std::u16string TypeName() const override { return u"PageDialogForm"; }
  Label& mSourcePropertyLabel() override { return label_; }
  ComboBox& mSourcePropertyComboBox() override { return list_; }
  TextBox& mFormulaTextBox() override { return formula_; }
  TextBox& mFormatTextBox() override { return format_; }
  Button& mOKButton() override { return ok_; }
  std::int32_t UserLocaleIdentifier() const override { return locale_; }
  void Load(ktformula::DialogEvents& events) override {
    events_ = &events;
    events.Form_Load();
  }
  // Nobody waits for a page.
  void ShowModal() override {}
  void Hide() override { is_hidden_ = true; }
  void Unload() noexcept override { events_ = nullptr; }

 private:
  std::int32_t locale_;
  ktformula::DialogEvents* events_ = nullptr;
  bool is_hidden_ = false;
  Label label_;
  ComboBox list_;
  TextBox formula_{true};
  TextBox format_{false};
  Button ok_;
};

}  // namespace ktnotebook
