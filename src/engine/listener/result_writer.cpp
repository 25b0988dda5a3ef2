#include "listener/result_writer.h"

#include <cmath>
#include <string>

#include "values/platform.h"
#include "values/raised_error.h"

namespace ktformula {

namespace {

bool IsFormatted(const CellValue& value) {
  return value.CellValueType() != kCellValueTypeError &&
         value.CellValueType() != kCellValueTypeString;
}

}  // namespace

void ResultWriter::WriteError(TableCell& cell, std::u16string_view description) {
  grid_.WriteText(cell, std::u16string(kErrorPrefix) + std::u16string(description), false);
}

void ResultWriter::Write(TableCell& cell, const CellValue& value, bool number_formatting,
                         std::u16string_view string_format) {
  if (number_formatting && IsFormatted(value)) {
    WriteFormatted(cell, value, string_format);
  } else {
    WriteText(cell, value);
  }
}

void ResultWriter::WriteNoNumber(TableCell& cell, const CellValue& value) {
  if (value.IsMissingNumber()) {
    WriteError(cell, value.MissingNumberDescription());
  } else {
    WriteError(cell, DescriptionOf(RuntimeError::kOverflow));
  }
}

void ResultWriter::WriteFormatted(TableCell& cell, const CellValue& value,
                                  std::u16string_view string_format) {
  if (!std::isfinite(value.MinNumber())) return WriteNoNumber(cell, value);
  const EnteredValues& entered = Entered();
  try {
    format_.SetGridCellValue(grid_, cell, value.MinNumber(), string_format, entered.ExaminedSigDig,
                             entered.ExaminedUnits);
  } catch (const DisplayOverflow& error) {
    WriteError(cell, error.Description());
  }
}

const EnteredValues& ResultWriter::Entered() {
  if (!entered_) entered_ = ExamineEnteredValues(owner_, *framework_.Units());
  return *entered_;
}

const EnteredValues* ResultWriter::PromisedEntered() {
  return owner_.EnteredCells() != nullptr ? &Entered() : nullptr;
}

void ResultWriter::WriteText(TableCell& cell, const CellValue& value) {
  switch (value.CellValueType()) {
    case kCellValueTypeError: WriteError(cell, value.ErrorDescription()); return;
    case kCellValueTypeString:
      if (cell.MinNumber() != 0 || cell.MaxNumber() != 0) grid_.ClearNumber(cell);
      grid_.WriteText(cell, value.Text(), false);
      return;
    case kCellValueTypeStructure: grid_.WriteText(cell, value.MvrStructure(), false); return;
    case kCellValueTypeNumber:
      if (std::isfinite(value.MinNumber())) {
        grid_.WriteText(cell, NumberToText(value.MinNumber()), true);
      } else {
        WriteNoNumber(cell, value);
      }
      return;
    default: grid_.WriteText(cell, value.Text(), true);
  }
}

}  // namespace ktformula
