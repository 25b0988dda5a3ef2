// Watching an evaluation: what it reads, and what each of its parts comes to.
//
// What is told comes from the evaluator itself as it goes along, for one cell at a time. While
// somebody watches, nothing is computed for many rows at once and nothing is taken from what was
// kept before, so that everything that has a part in the value is met.
#pragma once

#include <string_view>

#include "formula/expression.h"
#include "formula/token_tree.h"
#include "host/notebook_objects.h"
#include "values/cell_value.h"
#include "values/raised_error.h"

namespace ktformula {

struct EvaluationContext;

// Who watches. Everything told is borrowed for the length of the call. What an observer raises ends
// the evaluation, as if the formula had raised it, unless it is no RaisedError.
class EvaluationObserver {
 public:
  virtual ~EvaluationObserver() = default;

  // A term of an expression, or an argument of a function, is evaluated from here to the EndTerm
  // that belongs to it; what is told between the two happens within it. Its NOTs are not applied
  // yet.
  virtual void BeginTerm(const Term& /*term*/, const LayerItem& /*item*/,
                         const EvaluationContext& /*context*/) {}
  // `raised` is what the term raised; nullptr when it has the value.
  virtual void EndTerm(const CellValue& /*value*/, const RaisedError* /*raised*/) {}

  // An operator is about to be applied. `symbol` is its item.
  virtual void ApplyStep(const Step& /*step*/, const LayerItem& /*symbol*/,
                         const CellValue& /*left*/, const CellValue& /*operand*/) {}

  // A reference reads a cell's value.
  virtual void ReadCell(const TableCell& /*cell*/) {}
  // A cell's state or tag is read.
  virtual void ReadNote(const TableCell& /*cell*/) {}
  // An aggregate reads all cells of the column; they are not told one by one.
  virtual void ReadColumn(const TableProperty& /*column*/) {}

  // A reference asks for the definition of this name: from here to EndDefinition it is evaluated,
  // unless it has its value already.
  virtual void BeginDefinition(std::u16string_view /*name*/) {}
  virtual void EndDefinition() {}
};

// Lets an observer watch what is evaluated on this thread as long as this lives; nullptr for
// nobody.
class Observation {
 public:
  explicit Observation(EvaluationObserver* observer) noexcept;
  Observation(const Observation&) = delete;
  Observation& operator=(const Observation&) = delete;
  ~Observation();

  // Who watches on this thread; nullptr for nobody.
  static EvaluationObserver* Observer() noexcept;

 private:
  EvaluationObserver* outer_;
};

}  // namespace ktformula
