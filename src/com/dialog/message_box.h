// Messages with an OK button. They belong to the thread's active window.
#pragma once

#include <string_view>

namespace ktcom {

// Under the component's name.
void ShowMessage(std::u16string_view text);
// With an exclamation mark.
void ShowWarning(std::u16string_view title, std::u16string_view text);

}  // namespace ktcom
