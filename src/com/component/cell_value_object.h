// CellValue as a COM class.
#pragma once

#include <memory>
#include <utility>

#include "KtFormula9.h"

#include "com/component/arguments.h"
#include "values/cell_value.h"

namespace ktcom {

class CellValueObject final : public Object<CellValueObject, IKtCellValue> {
 public:
  static constexpr const GUID& kClassIdentifier = CLSID_CellValue;

  using Value = std::shared_ptr<ktformula::CellValue>;
  struct IsShell {};

  explicit CellValueObject(ktformula::CellValue value = {})
      : value_(std::make_shared<ktformula::CellValue>(std::move(value))) {}
  // Stands for a value that others keep; see ToValueObject.
  CellValueObject(Value kept, IsShell);
  ~CellValueObject();

  ktformula::CellValue& Content() noexcept { return *value_; }

  void* STDMETHODCALLTYPE Native(const std::type_info& type) noexcept override {
    if (type == typeid(Value)) return &value_;
    return type == typeid(ktformula::CellValue) ? value_.get() : nullptr;
  }

  HRESULT STDMETHODCALLTYPE get_CellValueType(CellValueTypeEnum* value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_Text(BSTR* value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_MinNumber(double* value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_MaxNumber(double* value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_MinDate(DATE* value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_MaxDate(DATE* value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_MvrStructure(BSTR* value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_BooleanValue(VARIANT_BOOL* value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_IsBoolean(VARIANT_BOOL* value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_ELNProperty(IDispatch** value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_ErrorDescription(BSTR* value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_ErrorNumber(LONG* value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_ErrorSource(BSTR* value) noexcept override;
  HRESULT STDMETHODCALLTYPE InitializeFromGridCell(IDispatch* gc) noexcept override;
  HRESULT STDMETHODCALLTYPE InitializeFromChemicalStructure(IDispatch* cs) noexcept override;
  HRESULT STDMETHODCALLTYPE InitializeFromELNProperty(IDispatch* ELNProperty) noexcept override;
  HRESULT STDMETHODCALLTYPE Duplicate(IKtCellValue** value) noexcept override;
  HRESULT STDMETHODCALLTYPE Add(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE Subtract(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE Multiply(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE Divide(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE Modulus(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE Equals(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE NotEquals(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE BooleanAnd(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE BooleanOr(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE BooleanXOr(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE GreaterThan(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE LessThan(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE GreaterThanEquals(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE LessThanEquals(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE Concatenate(VARIANT Src) noexcept override;
  HRESULT STDMETHODCALLTYPE SetNumber(double newMinValue, double newMaxValue) noexcept override;
  HRESULT STDMETHODCALLTYPE SetString(BSTR newText) noexcept override;
  HRESULT STDMETHODCALLTYPE SetError(LONG NewErrorNumber, BSTR NewErrorSource,
                                     BSTR NewErrorDescription) noexcept override;
  HRESULT STDMETHODCALLTYPE SetBoolean(VARIANT_BOOL newValue) noexcept override;
  HRESULT STDMETHODCALLTYPE SetMvrStructure(BSTR newValue) noexcept override;
  HRESULT STDMETHODCALLTYPE ResolveReference(BSTR ReferenceText, IDispatch* sco,
                                             IDispatch* thisObject,
                                             IDispatch** object) noexcept override;
  HRESULT STDMETHODCALLTYPE ReferenceValue(BSTR ReferenceText, IDispatch* sco,
                                           IDispatch* thisObject,
                                           IDispatch* FormulaListener) noexcept override;

 private:
  using Operation = void (ktformula::CellValue::*)(ktformula::Operand);
  HRESULT Operate(const VARIANT& source, Operation operation) noexcept;

  Value value_;
  bool is_shell_ = false;
};

// The one COM object that stands for a value which others keep; empty for nullptr.
ComPtr<IKtCellValue> ToValueObject(const std::shared_ptr<ktformula::CellValue>& value);

}  // namespace ktcom
