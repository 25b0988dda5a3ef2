// IKtFormulaFormat: how a computed number is shown.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/notebook_objects.h"
#include "values/dictionary.h"
#include "values/raised_error.h"

namespace ktformula {

// The display units found in what the user typed in: quantity name to unit name.
using ExaminedUnitsMap = Dictionary<std::u16string>;

// Error 6 for a finite number that is not finite in the unit, or as the percentage, in which it is
// to be shown. What a host's units and controls raise is never this.
class DisplayOverflow final : public RaisedError {
 public:
  DisplayOverflow();
};

class IKtFormulaFormat : public virtual HostObject {
 public:
  // Writes `Value`, in the base unit of the cell's property, into the cell `gc` with a pattern and
  // a unit of the format's choice. `format` is the pattern that the user asked for: "" for none,
  // "%" for a percentage. `ExaminedSigDig` is the number of significant digits to show. Raises
  // DisplayOverflow, and what the host raises.
  virtual void SetGridCellValue(GridControl& GridCtl, TableCell& gc, double Value,
                                std::u16string_view format, std::int16_t ExaminedSigDig,
                                const ExaminedUnitsMap& ExaminedUnits) = 0;

  // Whether what is written follows from the arguments and the cell alone. Of a format that is not
  // the component's own nothing is known.
  virtual bool IsPure() const noexcept { return false; }
};

}  // namespace ktformula
