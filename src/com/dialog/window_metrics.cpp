#include "com/dialog/window_metrics.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

namespace ktcom {

namespace {

// The device context of a window with a font in it.
class FontContext {
 public:
  FontContext(HWND window, HFONT font) noexcept
      : window_(window), context_(GetDC(window)), before_(SelectObject(context_, font)) {}
  FontContext(const FontContext&) = delete;
  FontContext& operator=(const FontContext&) = delete;
  ~FontContext() {
    SelectObject(context_, before_);
    ReleaseDC(window_, context_);
  }
  operator HDC() const noexcept { return context_; }

 private:
  HWND window_;
  HDC context_;
  HGDIOBJ before_;
};

// The resolution that the system's own measures are given for.
int SystemDpi() noexcept {
  const HDC screen = GetDC(nullptr);
  const int dpi = GetDeviceCaps(screen, LOGPIXELSY);
  ReleaseDC(nullptr, screen);
  return dpi;
}

TEXTMETRICW MetricsOf(HDC context) noexcept {
  TEXTMETRICW metrics{};
  GetTextMetricsW(context, &metrics);
  return metrics;
}

}  // namespace

int WindowDpi(HWND window) noexcept {
  // Windows 10 and later have it.
  using GetDpiForWindowFunction = UINT(WINAPI*)(HWND);
  const auto get_dpi = reinterpret_cast<GetDpiForWindowFunction>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"user32.dll"), "GetDpiForWindow")));
  const UINT dpi = get_dpi == nullptr ? 0 : get_dpi(window);
  return dpi == 0 ? SystemDpi() : static_cast<int>(dpi);
}

FontHandle MakeFont(const FontFace& face, int dpi) {
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof(metrics);
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof(metrics), &metrics, 0);
  LOGFONTW& font = metrics.lfMessageFont;
  font.lfHeight = MulDiv(static_cast<int>(font.lfHeight), dpi, SystemDpi());
  if (!face.name.empty()) {
    const std::size_t length = std::min(face.name.size(), std::size(font.lfFaceName) - 1);
    std::copy_n(face.name.begin(), length, font.lfFaceName);
    font.lfFaceName[length] = L'\0';
    font.lfCharSet = DEFAULT_CHARSET;
    font.lfPitchAndFamily = face.monospaced ? FIXED_PITCH | FF_MODERN : DEFAULT_PITCH;
  }
  return FontHandle(CreateFontIndirectW(&font));
}

DialogUnits::DialogUnits(HWND window, HFONT font) noexcept {
  constexpr std::wstring_view kLetters = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  const FontContext context(window, font);
  SIZE size{};
  GetTextExtentPoint32W(context, kLetters.data(), static_cast<int>(kLetters.size()), &size);
  average_width_ = MulDiv(static_cast<int>(size.cx), 1, static_cast<int>(kLetters.size()));
  height_ = static_cast<int>(MetricsOf(context).tmHeight);
}

TextMeasures MeasureText(HWND control) noexcept {
  std::array<wchar_t, 256> text{};
  GetWindowTextW(control, text.data(), static_cast<int>(text.size()));
  const FontContext context(control,
                            reinterpret_cast<HFONT>(SendMessageW(control, WM_GETFONT, 0, 0)));
  RECT extent{};
  DrawTextW(context, text.data(), -1, &extent, DT_CALCRECT | DT_SINGLELINE);
  const TEXTMETRICW metrics = MetricsOf(context);
  return {static_cast<int>(extent.right), static_cast<int>(metrics.tmHeight),
          static_cast<int>(metrics.tmAscent)};
}

}  // namespace ktcom
