#include "values/plain_value.h"

#include "values/platform.h"
#include "values/text.h"

namespace ktformula {

std::optional<double> PlainNumber(const PlainValue& value) {
  if (const auto* number = std::get_if<double>(&value)) return *number;
  if (const auto* boolean = std::get_if<bool>(&value)) return *boolean ? -1.0 : 0.0;
  if (const auto* text = std::get_if<std::u16string>(&value)) return NumericValue(*text);
  return std::nullopt;
}

std::optional<Bounds> NumberBounds(Operand src) {
  if (const CellValue* value = src.AsCellValue()) {
    return Bounds{value->MinNumber(), value->MaxNumber()};
  }
  const std::optional<double> number = PlainNumber(*src.AsPlainValue());
  if (!number) return std::nullopt;
  return Bounds{*number, *number};
}

std::optional<double> PlainDateValue(const PlainValue& value) {
  if (const auto* date = std::get_if<PlainDate>(&value)) return date->days;
  if (const auto* text = std::get_if<std::u16string>(&value)) return DateValue(*text);
  return std::nullopt;
}

std::optional<bool> PlainBoolean(const PlainValue& value) {
  const auto* text = std::get_if<std::u16string>(&value);
  if (text == nullptr) return std::nullopt;
  const std::u16string upper = UpperCase(*text);
  if (upper != u"TRUE" && upper != u"FALSE") return std::nullopt;
  return upper == u"TRUE";
}

std::u16string PlainText(const PlainValue& value) {
  if (const auto* number = std::get_if<double>(&value)) return NumberToText(*number);
  if (const auto* text = std::get_if<std::u16string>(&value)) return *text;
  if (const auto* boolean = std::get_if<bool>(&value)) return *boolean ? u"True" : u"False";
  if (const auto* date = std::get_if<PlainDate>(&value)) return DateToText(date->days);
  return {};
}

}  // namespace ktformula
