// Texts that a cell does not take.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "notebook/tables/model.h"

namespace ktnotebook {

struct TypingRefusal {
  // For people, in UTF-8.
  std::string reason;
  // What was probably meant, where the decimal separator is another one.
  std::optional<std::u16string> meant;
};

// Why the text, typed by somebody with the locale, is nothing for the cell; nothing when it is.
std::optional<TypingRefusal> WhyNotTyped(const NotebookCell& cell, std::u16string_view text,
                                         const ktformula::Locale& locale);

}  // namespace ktnotebook
