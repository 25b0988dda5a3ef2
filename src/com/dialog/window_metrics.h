// Fonts and distances of a window at the resolution of its screen.
#pragma once

#include <memory>
#include <string_view>
#include <type_traits>

#include "com/base/windows_headers.h"
namespace ktcom {

struct FontDeleter {
  void operator()(HFONT font) const noexcept { DeleteObject(font); }
};
using FontHandle = std::unique_ptr<std::remove_pointer_t<HFONT>, FontDeleter>;

// A face without a name is that of the system's messages.
struct FontFace {
  std::u16string_view name;
  bool monospaced = false;
};

// Dots per inch where the window is shown. A window takes part in scaling as far as the program
// that shows it declared for itself: a dialog looks like the windows around it.
int WindowDpi(HWND window) noexcept;

// The face in the size of the system's messages; a similar one if there is none of this name.
FontHandle MakeFont(const FontFace& face, int dpi);

// Dialog units: a quarter of the font's average width and an eighth of its height.
class DialogUnits {
 public:
  DialogUnits(HWND window, HFONT font) noexcept;
  // In pixels.
  int X(int units) const noexcept { return MulDiv(units, average_width_, 4); }
  int Y(int units) const noexcept { return MulDiv(units, height_, 8); }

 private:
  int average_width_;
  int height_;
};

// Of a control, in pixels.
struct TextMeasures {
  // The text without its mnemonic, in one line.
  int width;
  // A line, and its part above the base line.
  int height;
  int ascent;
};
TextMeasures MeasureText(HWND control) noexcept;

}  // namespace ktcom
