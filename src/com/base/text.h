// Texts on both sides of the boundary: the engine's UTF-16 and automation's BSTR.
//
// This room holds what both sides of the COM boundary need: texts, variants, errors, calls to
// foreign objects and the ground on which own objects stand.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "com/base/windows_headers.h"

namespace ktcom {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

inline const wchar_t* Wide(const char16_t* text) noexcept {
  return reinterpret_cast<const wchar_t*>(text);
}
inline const char16_t* Narrow(const wchar_t* text) noexcept {
  return reinterpret_cast<const char16_t*>(text);
}

// A copy for Windows.
inline std::wstring ToWide(std::u16string_view text) {
  return std::wstring(text.begin(), text.end());
}

// The text of a BSTR, of which a null pointer is "". Valid as long as the BSTR.
inline std::u16string_view View(BSTR text) noexcept {
  return {Narrow(text), SysStringLen(text)};
}

// A BSTR that frees itself.
class Bstr {
 public:
  Bstr() noexcept = default;
  // Raises bad_alloc when there is no room for the text, or it is longer than any BSTR.
  explicit Bstr(std::u16string_view text);
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  Bstr(Bstr&& other) noexcept : text_(other.Detach()) {}
  ~Bstr() { SysFreeString(text_); }

  operator BSTR() const noexcept { return text_; }
  std::u16string Text() const { return std::u16string(View(text_)); }
  // Where a call stores a BSTR that becomes this object's; for an empty object only.
  BSTR* Receive() noexcept { return &text_; }
  // The caller frees the text from now on.
  BSTR Detach() noexcept { return std::exchange(text_, nullptr); }

 private:
  BSTR text_ = nullptr;
};

}  // namespace ktcom
