// Which texts XML can hold.
#pragma once

#include <string_view>

namespace ktformula {

// Raises kComponentError for a text with a character that XML 1.0 has no way to write, and names
// it; half of a surrogate pair is one.
void CheckXmlText(std::u16string_view text);

}  // namespace ktformula
