#include "notebook/tables/typed_text.h"

#include <limits>

#include "notebook/tables/localized_text.h"
#include "values/platform.h"

namespace ktnotebook {

ContentView MereText(DataType type, std::u16string_view text) noexcept {
  const bool is_unreadable = type == DataType::kNumber && !text.empty();
  const double number = is_unreadable ? std::numeric_limits<double>::quiet_NaN() : 0;
  return {text, number, number, {}};
}

ContentView NumberContent(std::u16string_view text, const ParsedNumber& number) noexcept {
  // Negative zero becomes zero: nobody types it, and not every database keeps it.
  return {text, number.min + 0.0, number.max + 0.0, number.typed_unit};
}

ContentView TypedTexts::Read(std::u16string_view text) {
  ContentView content = MereText(definition_.type, text);
  if (definition_.type == DataType::kNumber) {
    number_ = ParseNumberText(text, definition_.unit, units_, kept_in_);
    if (number_) content = NumberContent(text, *number_);
  } else if (definition_.type == DataType::kDate) {
    content.min = content.max = ktformula::DateValue(text).value_or(0);
  }
  return content;
}

ContentView TypedTexts::ReadTyped(std::u16string_view typed) {
  const std::u16string_view text = TrimTypedText(typed);
  // A Boolean may be a number, which has no unit.
  const bool may_be_number =
      definition_.type == DataType::kNumber || definition_.type == DataType::kBoolean;
  if (!may_be_number) return Read(text);
  const std::u16string_view own = WithOwnThousands(text, typed_in_, own_);
  number_ = ParseNumberText(own, definition_.unit, units_, typed_in_);
  if (!number_) return MereText(definition_.type, text);
  const std::u16string_view kept = WithSeparatorsOf(kept_in_, own, typed_in_, kept_);
  return definition_.type == DataType::kNumber ? NumberContent(kept, *number_)
                                               : MereText(definition_.type, kept);
}

bool TypedTexts::Enter(std::u16string_view typed, const TypedMark& mark, ColumnData& data,
                       std::size_t row) {
  const ContentView content = ReadTyped(typed);
  const bool is_empty = content.text.empty();
  const bool is_new_content = data.SetContent(row, content);
  const bool is_new_mark =
      is_empty ? data.SetState(row, u"", u"") : data.SetState(row, mark.state, mark.tag);
  return is_new_content || is_new_mark;
}

}  // namespace ktnotebook
