#include "notebook/tables/shown_text.h"

#include <cmath>

#include "values/number_text.h"
#include "values/raised_error.h"

namespace ktnotebook {

using ktformula::kErrorPrefix;

namespace {

std::u16string NumberText(double value) {
  if (std::isfinite(value)) return ktformula::NumberToText(value);
  return std::u16string(kErrorPrefix) +
         std::u16string(ktformula::DescriptionOf(ktformula::RuntimeError::kOverflow));
}

}  // namespace

std::u16string ValueText(const ktformula::CellValue& value) {
  switch (value.CellValueType()) {
    case ktformula::kCellValueTypeError:
      return std::u16string(kErrorPrefix) + value.ErrorDescription();
    case ktformula::kCellValueTypeNumber:
      if (value.IsMissingNumber()) {
        return std::u16string(kErrorPrefix) + value.MissingNumberDescription();
      }
      if (value.MinNumber() == value.MaxNumber() || !std::isfinite(value.MinNumber())) {
        return NumberText(value.MinNumber());
      }
      if (!std::isfinite(value.MaxNumber())) return NumberText(value.MaxNumber());
      return NumberText(value.MinNumber()) + u" .. " + NumberText(value.MaxNumber());
    case ktformula::kCellValueTypeStructure: return value.MvrStructure();
    default: return value.Text();
  }
}

bool ShowsError(std::u16string_view text) {
  return text.starts_with(kErrorPrefix);
}

std::u16string ShownText(const NotebookCell& cell, const ktformula::Locale& locale) {
  const std::u16string unit = cell.UnwrittenUnit();
  const std::u16string text = cell.TextIn(locale);
  return unit.empty() ? text : text + u" " + unit;
}

std::u16string NameInForm(const NotebookCell& cell) {
  const NotebookRow row = cell.OwningRow();
  return row.Parent().Name() + u":" + cell.Definition().name + u":" + row.ID();
}

std::u16string AddressOf(const NotebookCell& cell) {
  return cell.OwningRow().Parent().Parent().Name() + u"/" + NameInForm(cell);
}

}  // namespace ktnotebook
