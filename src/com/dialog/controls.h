// The controls of a dialog as child windows.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "com/base/windows_headers.h"
#include "com/dialog/window_metrics.h"
#include "host/dialog.h"

namespace ktcom {

// Sent to the form when a control wants another size.
inline constexpr UINT kArrangeControls = WM_APP;

struct ControlDesign {
  int identifier = 0;
  const wchar_t* window_class = nullptr;
  const wchar_t* text = nullptr;
  DWORD style = 0;
  DWORD extended_style = 0;
  FontFace face;
};

// A control has a window from Create until Detach or until the form is destroyed, whichever comes
// first. None of the messages that the members send makes a control notify its form.
class Control {
 public:
  Control() = default;
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  void Create(HWND form, const ControlDesign& design);
  // The window is about to go.
  virtual void Detach() noexcept { window_ = nullptr; }

  HWND Window() const noexcept { return window_; }
  HFONT Font() const noexcept { return font_.get(); }
  // Takes its face in the size for this resolution.
  void ScaleFont(int dpi);
  // Wanted when the window is gone.
  void DropFont() noexcept { font_.reset(); }

 protected:
  ~Control() = default;

  virtual void OnCreated() {}
  void ChangeFace(std::u16string_view name);
  LRESULT Send(UINT message, WPARAM first = 0, LPARAM second = 0) const noexcept {
    return SendMessageW(window_, message, first, second);
  }

 private:
  HWND window_ = nullptr;
  std::u16string face_;
  bool monospaced_ = false;
  FontHandle font_;
};

class Label final : public Control, public ktformula::DialogLabel {
 public:
  void SetCaption(std::u16string_view caption) override;
};

class TextBox final : public Control, public ktformula::DialogTextBox {
 public:
  // Of a box whose window is gone: what it held at last.
  std::u16string Text() const override;
  void SetText(std::u16string_view text) override;
  void SetFont(std::u16string_view face) override { ChangeFace(face); }
  // While it is hooked, Ctrl+A selects the whole text. Plain boxes of several lines lack that.
  void HookWindow() override;
  void UnhookWindow() noexcept override;

  void Detach() noexcept override;
  // How far below the upper edge of the window its first line begins, in pixels.
  int TextOffset() const noexcept;
  // Going to a box with the Tab key selects its text, and what is typed next would replace it.
  // The selection stays as the user left it instead.
  void KeepSelection() noexcept;
  void RestoreSelection() noexcept;

 private:
  static LRESULT CALLBACK HookProcedure(HWND window, UINT message, WPARAM first, LPARAM second);

  void OnCreated() override;

  std::u16string last_text_;
  DWORD selection_begin_ = 0;
  DWORD selection_end_ = 0;
  bool hooked_ = false;
  // The procedure in front of which the hook stands.
  LONG_PTR hooked_procedure_ = 0;
};

class ComboBox final : public Control, public ktformula::DialogComboBox {
 public:
  void Clear() override;
  void AddItem(std::u16string_view text, std::int32_t item_data) override;
  std::int32_t ItemData(int index) const override;
  int ListIndex() const override { return static_cast<int>(Send(CB_GETCURSEL)); }
  void SetListIndex(int index) override;
  void SetFont(std::u16string_view face) override { ChangeFace(face); }

  // Whether the selection is another than when this or SetListIndex was called last.
  bool TakeNewSelection() noexcept;

 private:
  int known_index_ = CB_ERR;
};

class Button final : public Control, public ktformula::DialogButton {
 public:
  void SetDefault(bool is_default) override;
  bool IsDefault() const noexcept { return is_default_; }
  // Draws the frame of the button that Enter presses, or takes it away.
  void ShowState() noexcept;

 private:
  bool is_default_ = true;
};

}  // namespace ktcom
