#include "com/component/cell_value_object.h"

#include "com/base/shells.h"
#include "com/component/evaluation_stack.h"
#include "com/component/named_values.h"
#include "com/host/notebook_adapters.h"

namespace ktcom {

using ktformula::CellValue;
using ktformula::Ref;

CellValueObject::CellValueObject(std::shared_ptr<CellValue> kept, IsShell)
    : value_(std::move(kept)), is_shell_(true) {
  AddShell(value_.get(), this);
}

CellValueObject::~CellValueObject() {
  if (is_shell_) RemoveShell(value_.get());
}

ComPtr<IKtCellValue> ToValueObject(const std::shared_ptr<CellValue>& value) {
  if (value == nullptr) return nullptr;
  const ComPtr<IDispatch> known = FindShell(value.get());
  if (known != nullptr) return static_cast<IKtCellValue*>(known.Get());
  return MakeObject<CellValueObject>(value, CellValueObject::IsShell());
}

HRESULT CellValueObject::Operate(const VARIANT& source, Operation operation) noexcept {
  return Answer([&] {
    const OperandArgument argument(source);
    ((*value_).*operation)(argument.Get());
  });
}

HRESULT CellValueObject::get_CellValueType(CellValueTypeEnum* value) noexcept {
  return Give(value, [&] { return static_cast<CellValueTypeEnum>(value_->CellValueType()); });
}
HRESULT CellValueObject::get_Text(BSTR* value) noexcept {
  return Give(value, [&] { return value_->Text(); });
}
HRESULT CellValueObject::get_MinNumber(double* value) noexcept {
  return Give(value, [&] { return value_->MinNumber(); });
}
HRESULT CellValueObject::get_MaxNumber(double* value) noexcept {
  return Give(value, [&] { return value_->MaxNumber(); });
}
HRESULT CellValueObject::get_MinDate(DATE* value) noexcept {
  return Give(value, [&] { return value_->MinDate(); });
}
HRESULT CellValueObject::get_MaxDate(DATE* value) noexcept {
  return Give(value, [&] { return value_->MaxDate(); });
}
HRESULT CellValueObject::get_MvrStructure(BSTR* value) noexcept {
  return Give(value, [&] { return value_->MvrStructure(); });
}
HRESULT CellValueObject::get_BooleanValue(VARIANT_BOOL* value) noexcept {
  return Give(value, [&] { return value_->BooleanValue(); });
}
HRESULT CellValueObject::get_IsBoolean(VARIANT_BOOL* value) noexcept {
  return Give(value, [&] { return value_->IsBoolean(); });
}
HRESULT CellValueObject::get_ELNProperty(IDispatch** value) noexcept {
  return Give(value, [&] { return ToDispatch(value_->ELNProperty().get()); });
}
HRESULT CellValueObject::get_ErrorDescription(BSTR* value) noexcept {
  return Give(value, [&] { return value_->ErrorDescription(); });
}
HRESULT CellValueObject::get_ErrorNumber(LONG* value) noexcept {
  return Give(value, [&] { return LONG{value_->ErrorNumber()}; });
}
HRESULT CellValueObject::get_ErrorSource(BSTR* value) noexcept {
  return Give(value, [&] { return value_->ErrorSource(); });
}

HRESULT CellValueObject::InitializeFromGridCell(IDispatch* gc) noexcept {
  return Answer([&] { value_->InitializeFromGridCell(*AdaptRequired<ForeignTableCell>(gc)); });
}
HRESULT CellValueObject::InitializeFromChemicalStructure(IDispatch* cs) noexcept {
  return Answer([&] {
    value_->InitializeFromChemicalStructure(*AdaptRequired<ForeignChemicalStructure>(cs));
  });
}
HRESULT CellValueObject::InitializeFromELNProperty(IDispatch* ELNProperty) noexcept {
  return Answer(
      [&] { value_->InitializeFromELNProperty(Adapt<ForeignELNProperty>(ELNProperty).get()); });
}
HRESULT CellValueObject::Duplicate(IKtCellValue** value) noexcept {
  return Give(value, [&] { return MakeObject<CellValueObject>(value_->Duplicate()); });
}

HRESULT CellValueObject::Add(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::Add);
}
HRESULT CellValueObject::Subtract(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::Subtract);
}
HRESULT CellValueObject::Multiply(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::Multiply);
}
HRESULT CellValueObject::Divide(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::Divide);
}
HRESULT CellValueObject::Modulus(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::Modulus);
}
HRESULT CellValueObject::Equals(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::Equals);
}
HRESULT CellValueObject::NotEquals(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::NotEquals);
}
HRESULT CellValueObject::BooleanAnd(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::BooleanAnd);
}
HRESULT CellValueObject::BooleanOr(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::BooleanOr);
}
HRESULT CellValueObject::BooleanXOr(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::BooleanXOr);
}
HRESULT CellValueObject::GreaterThan(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::GreaterThan);
}
HRESULT CellValueObject::LessThan(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::LessThan);
}
HRESULT CellValueObject::GreaterThanEquals(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::GreaterThanEquals);
}
HRESULT CellValueObject::LessThanEquals(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::LessThanEquals);
}
HRESULT CellValueObject::Concatenate(VARIANT Src) noexcept {
  return Operate(Src, &CellValue::Concatenate);
}

HRESULT CellValueObject::SetNumber(double newMinValue, double newMaxValue) noexcept {
  return Answer([&] { value_->SetNumber(newMinValue, newMaxValue); });
}
HRESULT CellValueObject::SetString(BSTR newText) noexcept {
  return Answer([&] { value_->SetString(View(newText)); });
}
HRESULT CellValueObject::SetError(LONG NewErrorNumber, BSTR NewErrorSource,
                                  BSTR NewErrorDescription) noexcept {
  return Answer(
      [&] { value_->SetError(NewErrorNumber, View(NewErrorSource), View(NewErrorDescription)); });
}
HRESULT CellValueObject::SetBoolean(VARIANT_BOOL newValue) noexcept {
  return Answer([&] { value_->SetBoolean(newValue != VARIANT_FALSE); });
}
HRESULT CellValueObject::SetMvrStructure(BSTR newValue) noexcept {
  return Answer([&] { value_->SetMvrStructure(View(newValue)); });
}

HRESULT CellValueObject::ResolveReference(BSTR ReferenceText, IDispatch* sco, IDispatch* thisObject,
                                          IDispatch** object) noexcept {
  return Give(object, [&] {
    const Ref<ktformula::NotebookObject> anchor = AdaptNotebookObject(sco);
    const Ref<ktformula::NotebookObject> own = AdaptNotebookObject(thisObject);
    return ToDispatch(ktformula::ResolveReference(*value_,
                                                  ktformula::ReferencePath(View(ReferenceText)),
                                                  anchor.get(), own.get())
                          .get());
  });
}

HRESULT CellValueObject::ReferenceValue(BSTR ReferenceText, IDispatch* sco, IDispatch* thisObject,
                                        IDispatch* FormulaListener) noexcept {
  return Answer([&] {
    const EvaluationCall call;
    const Ref<ktformula::NotebookObject> anchor = AdaptNotebookObject(sco);
    const Ref<ktformula::NotebookObject> own = AdaptNotebookObject(thisObject);
    NamedValuesArgument listener(FormulaListener);
    ktformula::ReferenceValue(*value_, ktformula::ReferencePath(View(ReferenceText)), anchor.get(),
                              own.get(), &listener);
  });
}

}  // namespace ktcom
