#include "values/raised_error.h"

namespace ktformula {

RaisedError::RaisedError(std::int32_t number, std::u16string_view source,
                         std::u16string_view description)
    : number_(number), source_(source), description_(description) {
  ascii_.reserve(description.size());
  for (const char16_t unit : description) {
    ascii_.push_back(unit < 0x80 ? static_cast<char>(unit) : '?');
  }
}

void Raise(std::u16string_view source, std::u16string_view description) {
  throw RaisedError(kComponentError, source, description);
}

std::u16string NotANumberDescription(std::u16string_view text) {
  return u"the value \"" + std::u16string(text) + u"\" is not a number";
}

std::u16string_view DescriptionOf(RuntimeError error) noexcept {
  switch (error) {
    case RuntimeError::kInvalidProcedureCall: return u"Invalid procedure call or argument";
    case RuntimeError::kOverflow: return u"Overflow";
    case RuntimeError::kInvalidIndex: return u"Subscript out of range";
    case RuntimeError::kDivisionByZero: return u"Division by zero";
    case RuntimeError::kTypeMismatch: return u"Type mismatch";
    case RuntimeError::kObjectNotSet: return u"Object variable not set";
    case RuntimeError::kKeyInUse:
      return u"This key is already associated with an element of this collection";
  }
  return u"";
}

void Raise(RuntimeError error) {
  throw RaisedError(static_cast<std::int32_t>(error), u"KtFormula9", DescriptionOf(error));
}

}  // namespace ktformula
