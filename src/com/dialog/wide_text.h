// Between the engine's UTF-16 text and that of Windows, which differ only in the C++ type.
#pragma once

#include <string>
#include <string_view>

namespace ktcom {

inline std::wstring ToWide(std::u16string_view text) {
  return std::wstring(text.begin(), text.end());
}

}  // namespace ktcom
