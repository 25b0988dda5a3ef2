#include "notebook/commands/typing.h"

#include "notebook/files/utf.h"

namespace ktnotebook {

namespace {

std::string Quoted(std::u16string_view text) {
  return "\"" + ToUtf8(text) + "\"";
}

}  // namespace

std::optional<TypingRefusal> WhyNotTyped(const NotebookCell& cell, std::u16string_view text,
                                         const ktformula::Locale& locale) {
  if (auto meant = cell.MeantNumber(text, locale)) {
    const std::string reason = Quoted(text) + " is no number where " +
                               Quoted(std::u16string(1, locale.decimal_separator)) +
                               " is the decimal separator; did you mean " + Quoted(*meant) + "?";
    return TypingRefusal{reason, std::move(meant)};
  }
  if (cell.Accepts(text, locale)) return std::nullopt;
  return TypingRefusal{Quoted(text) + " is no " + ToUtf8(DataTypeText(cell.Definition().type)) +
                           " for " + Quoted(cell.Definition().name),
                       std::nullopt};
}

}  // namespace ktnotebook
