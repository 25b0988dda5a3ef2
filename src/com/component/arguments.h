// Arguments and results of the component's own members.
#pragma once

#include "com/base/object.h"
#include "values/cell_value.h"

namespace ktcom {

// A variant as the right operand of an operator: a CellValue of this component or a plain value.
// Refers to the variant's object and must not outlive it.
class OperandArgument {
 public:
  explicit OperandArgument(const VARIANT& source);

  ktformula::Operand Get() const noexcept {
    return cell_value_ != nullptr ? ktformula::Operand(*cell_value_) : ktformula::Operand(plain_);
  }

 private:
  ktformula::CellValue* cell_value_ = nullptr;
  ktformula::PlainValue plain_;
};

// The CellValue behind an argument. Raises error 91 for Nothing, error 13 for anything else.
ktformula::CellValue& CellValueArgument(IDispatch* object);

}  // namespace ktcom
