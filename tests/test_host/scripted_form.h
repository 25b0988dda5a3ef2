// A dialog form without a window, driven by a user in text.
#pragma once

#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/dialog.h"
#include "test_host/utf8.h"

namespace ktformula {

// The user does what `actions` say and then closes the form with its close box:
//
//   pick ENTRY      selects the entry of the list, or none
//   formula TEXT    makes this the text of the box; so does format
//   focus CONTROL   goes to formula, to format, or to the list
//   jump CONTROL    the same on a form that tells of the new focus before the old one
//   enter           presses the Enter key
//   leave           goes to another window and comes back
//   see TEXT|TEXT   expects these texts in the two boxes
//
// `log` is what the dialog did with the form.
class ScriptedForm final : public DialogForm {
 public:
  struct Label final : DialogLabel {
    void SetCaption(std::u16string_view text) override { caption = text; }
    std::u16string caption;
  };
  struct TextBox final : DialogTextBox {
    TextBox(std::string box_name, std::string& form_log) : name(box_name), log(form_log) {}
    std::u16string Text() const override { return text; }
    void SetText(std::u16string_view new_text) override { text = new_text; }
    void SetFont(std::u16string_view face) override { font = face; }
    void HookWindow() override { log += "hook " + name + "; "; }
    void UnhookWindow() noexcept override { log += "unhook " + name + "; "; }
    std::string name;
    std::string& log;
    std::u16string text;
    std::u16string font;
  };
  struct ComboBox final : DialogComboBox {
    void Clear() override { items.clear(); }
    void AddItem(std::u16string_view text, std::int32_t item_data) override {
      items.emplace_back(ToUtf8(text), item_data);
    }
    std::int32_t ItemData(int i) const override { return items[std::size_t(i)].second; }
    int ListIndex() const override { return index; }
    void SetListIndex(int new_index) override { index = new_index; }
    void SetFont(std::u16string_view face) override { font = face; }
    std::vector<std::pair<std::string, std::int32_t>> items;
    int index = -1;
    std::u16string font;
  };
  struct Button final : DialogButton {
    void SetDefault(bool is_default) override { enter_presses = is_default; }
    bool enter_presses = true;
  };

  std::vector<std::string> actions;
  std::function<void()> on_load = [] {};
  std::function<void()> on_show = [] {};
  std::int32_t locale = 1033;
  std::string log;
  Label label;
  ComboBox list;
  TextBox formula{"formula", log};
  TextBox format{"format", log};
  Button ok;

  std::u16string TypeName() const override { return u"Form"; }
  DialogLabel& mSourcePropertyLabel() override { return label; }
  DialogComboBox& mSourcePropertyComboBox() override { return list; }
  DialogTextBox& mFormulaTextBox() override { return formula; }
  DialogTextBox& mFormatTextBox() override { return format; }
  DialogButton& mOKButton() override { return ok; }
  std::int32_t UserLocaleIdentifier() const override { return locale; }
  void Load(DialogEvents& events) override {
    events_ = &events;
    events.Form_Load();
    on_load();
  }
  void ShowModal() override {
    visible_ = true;
    for (const std::string& action : actions) {
      ASSERT_TRUE(visible_) << action;
      const std::size_t blank = action.find(' ');
      Do(action.substr(0, blank), blank == std::string::npos ? "" : action.substr(blank + 1));
    }
    on_show();
  }
  void Hide() override {
    visible_ = false;
    log += "hide; ";
  }
  void Unload() noexcept override {
    events_ = nullptr;
    log += "unload; ";
  }

 private:
  void Do(const std::string& verb, const std::string& what) {
    const std::string before = focus_;
    if (verb == "pick") return Pick(what);
    if (verb == "see") return Expect(what);
    if (verb == "formula") return void(formula.text = FromUtf8(what));
    if (verb == "format") return void(format.text = FromUtf8(what));
    if (verb == "leave") return events_->Form_Deactivate();
    if (verb == "jump") return GetFocus(what), LoseFocus(before);
    if (verb == "focus") return LoseFocus(before), GetFocus(what);
    ASSERT_EQ(verb, "enter");
    if (ok.enter_presses) return events_->mOKButton_Click();
    formula.text += u"\r\n";
  }
  void Pick(const std::string& entry) {
    list.index = -1;
    if (entry.empty()) return events_->mSourcePropertyComboBox_Click();
    for (list.index = 0; list.items.at(std::size_t(list.index)).first != entry;)
      ++list.index;
    events_->mSourcePropertyComboBox_Click();
  }
  void Expect(const std::string& texts) const {
    EXPECT_EQ(ToUtf8(formula.text) + "|" + ToUtf8(format.text), texts);
  }
  void LoseFocus(const std::string& box) {
    if (box == "formula") events_->mFormulaTextBox_LostFocus();
    if (box == "format") events_->mFormatTextBox_LostFocus();
  }
  void GetFocus(const std::string& box) {
    if (box == "formula") events_->mFormulaTextBox_GotFocus();
    if (box == "format") events_->mFormatTextBox_GotFocus();
    focus_ = box;
  }

  DialogEvents* events_ = nullptr;
  bool visible_ = false;
  std::string focus_ = "list";
};

}  // namespace ktformula
