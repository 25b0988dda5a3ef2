#include "analysis/sketch.h"

#include <cmath>

namespace ktformula {

namespace {

bool IsPlainNumeral(double number) {
  if (number >= 0 && number <= 10 && number == std::floor(number)) return true;
  if (!(number > 0) || !std::isfinite(number)) return false;
  // Powers of ten are written so that their logarithm is whole but for its own rounding.
  const double exponent = std::round(std::log10(number));
  return std::abs(number / std::pow(10, exponent) - 1) < 1e-15;
}

// The dimension of what a product or quotient comes to.
std::optional<Dimension> DimensionOfResult(const Sketch& left, FormulaWord word,
                                           const Sketch& right) {
  if (!left.dimension || !right.dimension) return std::nullopt;
  if (word == FormulaWord::kMultiply) return Product(*left.dimension, *right.dimension);
  if (word == FormulaWord::kDivide) return Quotient(*left.dimension, *right.dimension);
  return std::nullopt;
}

// Of a sum: 0 is of every dimension, and so may be a constant that is no plain number.
std::optional<Dimension> DimensionOfSum(const Sketch& left, const Sketch& right) {
  if (left.is_zero) return right.dimension;
  if (right.is_zero) return left.dimension;
  if (left.is_constant && !left.dimension) return right.dimension;
  if (right.is_constant && !right.dimension) return left.dimension;
  return left.dimension == right.dimension ? left.dimension : std::nullopt;
}

}  // namespace

Sketch SketchOfKind(CellValueTypeEnum kind) {
  Sketch sketch;
  sketch.kind = kind;
  return sketch;
}

Sketch SketchOfCount() {
  Sketch sketch = SketchOfKind(kCellValueTypeNumber);
  sketch.dimension = Dimension();
  return sketch;
}

Sketch SketchOfNumeral(double number) {
  Sketch sketch = SketchOfKind(kCellValueTypeNumber);
  if (IsPlainNumeral(number)) sketch.dimension = Dimension();
  sketch.is_constant = true;
  sketch.is_zero = number == 0;
  return sketch;
}

Sketch SketchOfCell(ELNProperty* property) {
  if (property == nullptr) return {};
  // The kinds that a cell of the property gives.
  CellValue value;
  value.SetTypeFromProperty(property);
  Sketch sketch = SketchOfKind(value.CellValueType());
  if (sketch.kind == kCellValueTypeNumber) sketch.dimension = DimensionOf(*property);
  return sketch;
}

bool IsSum(FormulaWord word) noexcept {
  return word == FormulaWord::kAdd || word == FormulaWord::kSubtract;
}

bool IsArithmetic(FormulaWord word) noexcept {
  return PrecedenceLevel(word) >= PrecedenceLevel(FormulaWord::kAdd) &&
         word != FormulaWord::kConcatenate;
}

Sketch SketchOfArithmetic(const Sketch& left, FormulaWord word, const Sketch& right) {
  Sketch result = SketchOfKind(kCellValueTypeNumber);
  result.dimension =
      IsSum(word) ? DimensionOfSum(left, right) : DimensionOfResult(left, word, right);
  result.is_constant = left.is_constant && right.is_constant;
  result.is_zero = word == FormulaWord::kMultiply && (left.is_zero || right.is_zero);
  return result;
}

std::optional<Dimension> DimensionOf(const ELNProperty& property) {
  if (!property.HasUnits()) return std::nullopt;
  const Ref<Unit> unit = property.DefaultUnit();
  return unit ? DimensionOfQuantity(unit->QuantityName()) : std::nullopt;
}

Sketch EitherOf(const Sketch& left, const Sketch& right) {
  // What always fails is nobody's value, and what is no number has no dimension.
  if (left.kind == kCellValueTypeError) return right;
  if (right.kind == kCellValueTypeError) return left;
  Sketch either;
  if (left.kind == right.kind) either.kind = left.kind;
  const auto is_no_quantity = [](const Sketch& sketch) {
    return sketch.is_zero ||
           (sketch.kind != kCellValueTypeNumber && sketch.kind != kCellValueTypeUnknown);
  };
  if (is_no_quantity(left)) {
    either.dimension = right.dimension;
  } else if (is_no_quantity(right) || left.dimension == right.dimension) {
    either.dimension = left.dimension;
  }
  either.is_constant = left.is_constant && right.is_constant;
  either.is_zero = left.is_zero && right.is_zero;
  return either;
}

bool AreUnlike(const Sketch& left, const Sketch& right) {
  return left.dimension && right.dimension && *left.dimension != *right.dimension;
}

}  // namespace ktformula
