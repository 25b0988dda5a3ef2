#include "com/component/arguments.h"

#include "com/base/variant.h"
#include "values/raised_error.h"

namespace ktcom {

using ktformula::CellValue;
using ktformula::PlainValue;

namespace {

// What an expression of the host's language may hold: numbers of any width, texts, Booleans and
// dates. All other contents are neither numeric nor a text.
PlainValue ToPlainValue(const Variant& value) {
  switch (value.Get().vt) {
    case VT_BSTR: return value.Text();
    case VT_BOOL: return value.Boolean();
    case VT_DATE: return ktformula::PlainDate{value.Get().date};
    case VT_I1:
    case VT_I2:
    case VT_I4:
    case VT_I8:
    case VT_INT:
    case VT_UI1:
    case VT_UI2:
    case VT_UI4:
    case VT_UI8:
    case VT_UINT:
    case VT_R4:
    case VT_R8:
    case VT_CY:
    case VT_DECIMAL: return value.Number();
    default: return std::monostate();
  }
}

}  // namespace

OperandArgument::OperandArgument(const VARIANT& source) {
  const Variant value(source);
  const VARTYPE type = value.Get().vt;
  if (type == VT_DISPATCH || type == VT_UNKNOWN) {
    cell_value_ = NativeOf<CellValue>(value.Get().punkVal);
  } else {
    plain_ = ToPlainValue(value);
  }
}

CellValue& CellValueArgument(IDispatch* object) {
  if (object == nullptr) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
  auto* const value = NativeOf<CellValue>(object);
  if (value == nullptr) ktformula::Raise(ktformula::RuntimeError::kTypeMismatch);
  return *value;
}

}  // namespace ktcom
