// How the value of a formula comes into its cell.
#pragma once

#include <optional>
#include <string_view>

#include "formats/formula_format.h"
#include "host/framework.h"
#include "host/notebook_objects.h"
#include "listener/entered_values.h"
#include "values/cell_value.h"

namespace ktformula {

// Writes the results of one pass through the table's control. All it is given is borrowed. What the
// host's own calls raise is raised.
class ResultWriter {
 public:
  ResultWriter(const OwnerCollection& owner, HostFramework& framework, IKtFormulaFormat& format,
               GridControl& grid)
      : owner_(owner), framework_(framework), format_(format), grid_(grid) {}

  // kErrorPrefix and the description.
  void WriteError(TableCell& cell, std::u16string_view description);

  // The value as its kind is written. With `number_formatting` all but errors and texts are numbers
  // for the result format, which is given `string_format`.
  void Write(TableCell& cell, const CellValue& value, bool number_formatting,
             std::u16string_view string_format);

  void Finish(TableCell& cell) { grid_.FinishCell(cell); }

  // What formatted numbers are shown with, which is settled then for the whole pass; nullptr when
  // the host does not promise to tell whether it changes.
  const EnteredValues* PromisedEntered();

 private:
  // What stands for a number that is not finite.
  void WriteNoNumber(TableCell& cell, const CellValue& value);
  void WriteFormatted(TableCell& cell, const CellValue& value, std::u16string_view string_format);
  void WriteText(TableCell& cell, const CellValue& value);
  const EnteredValues& Entered();

  const OwnerCollection& owner_;
  HostFramework& framework_;
  IKtFormulaFormat& format_;
  GridControl& grid_;
  // Examined at most once, and only when a formatted number is written.
  std::optional<EnteredValues> entered_;
};

}  // namespace ktformula
