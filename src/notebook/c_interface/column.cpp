// Columns and their cells for C.
#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "notebook/c_interface/call.h"
#include "notebook/c_interface/results.h"
#include "notebook/c_interface/session.h"

using namespace ktnotebook;
using UsedColumn = InUse<ColumnObject>;

namespace {

static_assert(static_cast<int>(ktformula9::Origin::kEmpty) == KTF9_EMPTY);
static_assert(static_cast<int>(ktformula9::Origin::kTyped) == KTF9_TYPED);
static_assert(static_cast<int>(ktformula9::Origin::kNoted) == KTF9_NOTED);
static_assert(static_cast<int>(ktformula9::Origin::kComputed) == KTF9_COMPUTED);

constexpr const char* kMissing = "nan";

// Puts a text of the column where the handle keeps it.
ktf9_status TellText(ktf9_column* column, ktf9_text* place, const char* argument,
                     ktf9_error** error, std::string ColumnObject::*kept,
                     std::string (ktformula9::Column::*text)() const) {
  return Call(error, [&] {
    const UsedColumn own(column, "column");
    ktf9_text& told = NeedPlace(place, argument);
    told = ViewOf(own.Own().*kept = (own.operator->()->*text)());
  });
}

void Show(const ktformula9::Cell& cell, ktf9_cell& view) {
  static const std::string kNoError;
  view.text = ViewOf(cell.text);
  view.min = cell.min;
  view.max = cell.max;
  view.unit = ViewOf(cell.unit);
  view.origin = static_cast<ktf9_origin>(cell.origin);
  view.is_error = cell.error.has_value() ? 1 : 0;
  view.error = ViewOf(cell.error ? *cell.error : kNoError);
}

// Copies `count` of what all rows have.
template <typename Source, typename Target>
void CopyRows(const std::vector<Source>& rows, std::size_t first, std::size_t count,
              Target* target) {
  if (first > rows.size())
    throw CallFailure(KTF9_NOT_FOUND, "first", "the table has not so many rows");
  if (count > rows.size() - first)
    throw CallFailure(KTF9_NOT_FOUND, "count", "the table has not so many rows");
  std::transform(rows.begin() + static_cast<std::ptrdiff_t>(first),
                 rows.begin() + static_cast<std::ptrdiff_t>(first + count), target,
                 [](Source source) { return static_cast<Target>(source); });
}

}  // namespace

ktf9_status ktf9_column_destroy(ktf9_column* column, ktf9_error** error) {
  return Call(error, [&] { Destroy<ColumnObject>(column, "column"); });
}

ktf9_status ktf9_column_name(ktf9_column* column, ktf9_text* name, ktf9_error** error) {
  return TellText(column, name, "name", error, &ColumnObject::name, &ktformula9::Column::Name);
}

ktf9_status ktf9_column_type(ktf9_column* column, ktf9_type* type, ktf9_error** error) {
  return Call(error, [&] {
    const UsedColumn own(column, "column");
    NeedPlace(type, "type") = static_cast<ktf9_type>(own->HoldsType());
  });
}

ktf9_status ktf9_column_unit(ktf9_column* column, ktf9_text* unit, ktf9_error** error) {
  return TellText(column, unit, "unit", error, &ColumnObject::unit, &ktformula9::Column::Unit);
}

ktf9_status ktf9_column_formula(ktf9_column* column, ktf9_text* formula, ktf9_error** error) {
  return TellText(column, formula, "formula", error, &ColumnObject::formula,
                  &ktformula9::Column::Formula);
}

ktf9_status ktf9_column_format(ktf9_column* column, ktf9_text* format, ktf9_error** error) {
  return TellText(column, format, "format", error, &ColumnObject::format,
                  &ktformula9::Column::Format);
}

ktf9_status ktf9_column_set_formula(ktf9_column* column, const char* formula, const char* format,
                                    ktf9_error** error) {
  return Call(error, [&] {
    UsedColumn(column, "column")->SetFormula(TextOr(formula, ""), TextOr(format, ""));
  });
}

ktf9_status ktf9_column_rename(ktf9_column* column, const char* name, ktf9_error** error) {
  return Call(error, [&] { UsedColumn(column, "column")->Rename(NeedText(name, "name")); });
}

ktf9_status ktf9_column_move(ktf9_column* column, size_t place, ktf9_error** error) {
  return Call(error, [&] { UsedColumn(column, "column")->Move(place); });
}

ktf9_status ktf9_column_remove(ktf9_column* column, ktf9_error** error) {
  return Call(error, [&] { UsedColumn(column, "column")->Remove(); });
}

ktf9_status ktf9_column_get(ktf9_column* column, size_t row, ktf9_cell* cell, ktf9_error** error) {
  return Call(error, [&] {
    const UsedColumn own(column, "column");
    ktf9_cell& place = NeedStruct(cell, "cell");
    Show(own.Own().cell = own->At(row), place);
  });
}

ktf9_status ktf9_column_set_text(ktf9_column* column, size_t row, const char* text,
                                 ktf9_error** error) {
  return Call(error, [&] { UsedColumn(column, "column")->Set(row, NeedText(text, "text")); });
}

ktf9_status ktf9_column_set_number(ktf9_column* column, size_t row, double number,
                                   ktf9_error** error) {
  return Call(error, [&] { UsedColumn(column, "column")->Set(row, number); });
}

ktf9_status ktf9_column_set_numbers(ktf9_column* column, size_t first, size_t count,
                                    const double* numbers, const char* missing,
                                    ktf9_error** error) {
  return Call(error, [&] {
    const UsedColumn own(column, "column");
    const std::span<const double> given = NeedArray(numbers, count, "numbers");
    own->SetNumbers(given, first, TextOr(missing, kMissing));
  });
}

ktf9_status ktf9_column_set_ranges(ktf9_column* column, size_t first, size_t count,
                                   const double* min, const double* max, const char* missing,
                                   ktf9_error** error) {
  return Call(error, [&] {
    const UsedColumn own(column, "column");
    const std::span<const double> lower = NeedArray(min, count, "min");
    const std::span<const double> upper = NeedArray(max, count, "max");
    own->SetRanges(lower, upper, first, TextOr(missing, kMissing));
  });
}

ktf9_status ktf9_column_set_texts(ktf9_column* column, size_t first, size_t count,
                                  const char* bytes, size_t length, const size_t* ends,
                                  ktf9_error** error) {
  return Call(error, [&] {
    const UsedColumn own(column, "column");
    const std::span<const char> given = NeedArray(bytes, length, "bytes");
    const std::vector<std::string_view> texts =
        ReadTexts({given.data(), given.size()}, count, ends);
    Renaming("texts", "bytes", [&] { own->SetTexts(texts, first); });
  });
}

ktf9_status ktf9_column_numbers(ktf9_column* column, size_t first, size_t count, double* min,
                                double* max, ktf9_error** error) {
  return Call(error, [&] {
    const UsedColumn own(column, "column");
    if (min != nullptr) CopyRows(own->MinNumbers(), first, count, min);
    if (max != nullptr) CopyRows(own->MaxNumbers(), first, count, max);
  });
}

ktf9_status ktf9_column_texts(ktf9_column* column, ktf9_texts** texts, ktf9_error** error) {
  Clear(texts);
  return Call(error, [&] {
    const UsedColumn own(column, "column");
    ktf9_texts*& place = NeedPlace(texts, "texts");
    GiveTexts(
        own->Texts(), [](std::string_view text) { return text; }, place);
  });
}

ktf9_status ktf9_column_origins(ktf9_column* column, size_t first, size_t count,
                                unsigned char* origins, ktf9_error** error) {
  return Call(error, [&] {
    const UsedColumn own(column, "column");
    CopyRows(own->Origins(), first, count, NeedArray(origins, count, "origins").data());
  });
}

ktf9_status ktf9_column_errors(ktf9_column* column, size_t first, size_t count,
                               unsigned char* is_error, ktf9_error** error) {
  return Call(error, [&] {
    const UsedColumn own(column, "column");
    CopyRows(own->Errors(), first, count, NeedArray(is_error, count, "is_error").data());
  });
}

ktf9_status ktf9_column_evaluate(ktf9_column* column, size_t row, const char* formula,
                                 ktf9_value** value, ktf9_error** error) {
  Clear(value);
  return Call(error, [&] {
    const UsedColumn own(column, "column");
    ktf9_value*& place = NeedPlace(value, "value");
    GiveValue(own->Evaluate(row, NeedText(formula, "formula")), place);
  });
}

ktf9_status ktf9_column_explain(ktf9_column* column, size_t row, int depth,
                                ktf9_explanation** explanation, ktf9_error** error) {
  Clear(explanation);
  return Call(error, [&] {
    const UsedColumn own(column, "column");
    ktf9_explanation*& place = NeedPlace(explanation, "explanation");
    GiveExplanation(own->Explain(row, depth), place);
  });
}
