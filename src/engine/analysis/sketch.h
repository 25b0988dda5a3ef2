// Sketches: what can be said of a value before it is computed.
#pragma once

#include <cstdint>
#include <optional>

#include "analysis/dimension.h"

#include "formula/token.h"
#include "host/notebook_objects.h"
#include "values/cell_value.h"

namespace ktformula {

struct Sketch {
  // kCellValueTypeUnknown when it is not known, kCellValueTypeError when the value always fails,
  // for a reason that has been told.
  CellValueTypeEnum kind = kCellValueTypeUnknown;
  // Of a number, or of the values that are numbers; empty when it is not known, or when a written
  // constant stands for it, which may have any.
  std::optional<Dimension> dimension;
  // Whether it is made of written constants alone.
  bool is_constant = false;
  // Whether it is the number 0, which is no quantity of any kind.
  bool is_zero = false;
};

Sketch SketchOfKind(CellValueTypeEnum kind);
// A number without a unit, such as a count.
Sketch SketchOfCount();
// Whole numbers up to 10 and powers of ten are plain numbers; any other may stand for a quantity.
Sketch SketchOfNumeral(double number);
// The value of a cell of this property, which may be empty.
Sketch SketchOfCell(ELNProperty* property);

bool IsSum(FormulaWord word) noexcept;
bool IsArithmetic(FormulaWord word) noexcept;
// What an arithmetic operator makes of two values that do not fail.
Sketch SketchOfArithmetic(const Sketch& left, FormulaWord word, const Sketch& right);

// Of the property's unit; empty when it has none, or one of a quantity that is not known.
std::optional<Dimension> DimensionOf(const ELNProperty& property);

// What can be said of a value that is one of the two.
Sketch EitherOf(const Sketch& left, const Sketch& right);

// Whether both are of known dimensions, and these differ.
bool AreUnlike(const Sketch& left, const Sketch& right);

}  // namespace ktformula
