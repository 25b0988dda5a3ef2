#include "listener/dialog_text.h"

#include "values/text.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kLineBreak = u"\r\n";

// Unlike a blank, white space includes line breaks: one stands between two definitions.
std::u16string_view TrimWhiteSpace(std::u16string_view text) {
  constexpr std::u16string_view kWhiteSpace = u" \t\r\n";
  const std::size_t begin = text.find_first_not_of(kWhiteSpace);
  if (begin == std::u16string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kWhiteSpace) + 1 - begin);
}

}  // namespace

std::u16string ToBoxText(std::u16string_view text) {
  std::u16string shown;
  for (const char16_t unit : text) {
    if (unit == u'\n') shown += u'\r';
    shown += unit;
  }
  return shown;
}

std::u16string FromBoxText(std::u16string_view text) {
  std::u16string stored(text);
  std::erase(stored, u'\r');
  return stored;
}

std::u16string DefinitionsText(const PropertyFormulas& definitions) {
  std::u16string text;
  for (const auto& [name, definition] : definitions.Entries()) {
    if (!text.empty()) text += kLineBreak;
    text += name + u" = " + ToBoxText(definition->Formula) + u";";
  }
  return text;
}

bool StoreDefinitionsText(std::u16string_view text, PropertyFormulas& definitions) {
  std::vector<FormulaText> formulas;
  for (const std::u16string_view piece : Split(text, u';')) {
    const std::size_t equals = piece.find(u'=');
    if (equals == std::u16string_view::npos) continue;
    formulas.push_back({std::u16string(TrimWhiteSpace(piece.substr(0, equals))),
                        FromBoxText(TrimWhiteSpace(piece.substr(equals + 1))), u""});
  }
  return definitions.PutAll(formulas);
}

}  // namespace ktformula
