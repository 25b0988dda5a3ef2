#include "com/base/variant.h"

#include "com/base/errors.h"
#include "com/base/text.h"
#include "values/platform.h"
#include "values/raised_error.h"

namespace ktcom {

Variant::Variant(std::u16string_view text) : Variant() {
  value_.bstrVal = Bstr(text).Detach();
  value_.vt = VT_BSTR;
}

Variant::Variant(double number) noexcept : Variant() {
  value_.vt = VT_R8;
  value_.dblVal = number;
}

Variant::Variant(std::int32_t number) noexcept : Variant() {
  value_.vt = VT_I4;
  value_.lVal = number;
}

Variant::Variant(std::int16_t number) noexcept : Variant() {
  value_.vt = VT_I2;
  value_.iVal = number;
}

Variant::Variant(bool flag) noexcept : Variant() {
  value_.vt = VT_BOOL;
  value_.boolVal = flag ? VARIANT_TRUE : VARIANT_FALSE;
}

Variant::Variant(IDispatch* object) noexcept : Variant() {
  if (object != nullptr) object->AddRef();
  value_.vt = VT_DISPATCH;
  value_.pdispVal = object;
}

Variant::Variant(IUnknown* object) noexcept : Variant() {
  if (object != nullptr) object->AddRef();
  value_.vt = VT_UNKNOWN;
  value_.punkVal = object;
}

Variant::Variant(const VARIANT& other) : Variant() {
  Check(VariantCopyInd(&value_, const_cast<VARIANT*>(&other)));
}

Variant::Variant(Variant&& other) noexcept : value_(other.value_) {
  VariantInit(&other.value_);
}

Variant Variant::ChangedTo(VARTYPE type) const {
  Variant changed;
  Check(VariantChangeType(&changed.value_, const_cast<VARIANT*>(&value_), 0, type));
  return changed;
}

std::u16string Variant::Text() const {
  if (value_.vt == VT_BSTR) return std::u16string(View(value_.bstrVal));
  if (value_.vt == VT_R8) return ktformula::NumberToText(value_.dblVal);
  return std::u16string(View(ChangedTo(VT_BSTR).value_.bstrVal));
}

double Variant::Number() const {
  if (value_.vt == VT_R8) return value_.dblVal;
  if (value_.vt == VT_BSTR) return ktformula::TextToNumber(View(value_.bstrVal));
  return ChangedTo(VT_R8).value_.dblVal;
}

std::int32_t Variant::Integer() const {
  return ChangedTo(VT_I4).value_.lVal;
}

bool Variant::Boolean() const {
  return ChangedTo(VT_BOOL).value_.boolVal != VARIANT_FALSE;
}

ComPtr<IDispatch> Variant::Object() const {
  if (value_.vt == VT_DISPATCH) return value_.pdispVal;
  if (IsNull()) return nullptr;
  if (value_.vt != VT_UNKNOWN) ktformula::Raise(ktformula::RuntimeError::kTypeMismatch);
  ComPtr<IDispatch> object;
  if (value_.punkVal != nullptr) {
    Check(value_.punkVal->QueryInterface(IID_PPV_ARGS(object.GetAddressOf())));
  }
  return object;
}

}  // namespace ktcom
