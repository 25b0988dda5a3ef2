#include "notebook/tables/written_content.h"

#include <optional>

#include "formats/display_pattern.h"
#include "notebook/tables/number_pattern.h"
#include "notebook/tables/typed_text.h"
#include "values/platform.h"

namespace ktnotebook {

using ktformula::Ref;

ContentView WrittenText(DataType type, std::u16string_view text, bool is_value) {
  ContentView content = MereText(type, text);
  if (!is_value) return content;
  const std::optional<double> number =
      type == DataType::kDate ? ktformula::DateValue(text) : ktformula::NumericValue(text);
  if (number) content.min = content.max = *number;
  return content;
}

CellContent WrittenNumber(const ktformula::ELNProperty& property, double value,
                          std::u16string_view pattern, std::u16string_view unit_name,
                          ktformula::UnitCatalogue& units) {
  CellContent content;
  Ref<ktformula::Unit> unit;
  if (!unit_name.empty()) unit = DisplayUnit(property, unit_name, units);
  content.text = FormatNumber(unit ? unit->FromBase(value) : value, pattern);
  if (unit) {
    content.unit = unit->UnitText();
    content.text += u" " + content.unit;
  }
  content.SetNumbers(value, value);
  return content;
}

std::u16string DisplayKey(const NotebookUnit* default_unit) {
  return default_unit != nullptr ? default_unit->QuantityName() : std::u16string();
}

std::u16string DisplayUnitName(const NotebookUnit* default_unit, std::u16string_view state,
                               std::u16string_view typed_unit) {
  if (default_unit == nullptr) return {};
  const bool is_typed = !state.empty() && !typed_unit.empty();
  return is_typed ? std::u16string(typed_unit) : default_unit->UnitText();
}

}  // namespace ktnotebook
