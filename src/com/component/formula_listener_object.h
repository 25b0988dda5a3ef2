// FormulaListener as a COM class.
#pragma once

#include "com/component/function_objects.h"
#include "com/component/listener_faces.h"
#include "listener/formula_listener.h"

namespace ktcom {

class FormulaListenerObject final
    : public ListenerFaces<FormulaListenerObject, IKtFormulaListener, ktformula::FormulaListener> {
 public:
  static constexpr const GUID& kClassIdentifier = CLSID_FormulaListener;

  FormulaListenerObject() : FormulaListenerObject(Dictionaries()) {}

  void* STDMETHODCALLTYPE Native(const std::type_info& type) noexcept override;

  HRESULT STDMETHODCALLTYPE Recalculate(IDispatch* source, IDispatch* detail) noexcept override;
  HRESULT STDMETHODCALLTYPE SigDigFormat(double gNumberToFormat, SHORT NumSigDig, BSTR IUnitString,
                                         IDispatch* ELNProperty, BSTR* pattern) noexcept override;
  HRESULT STDMETHODCALLTYPE DefinedValue(BSTR Name, IKtCellValue** value) noexcept override;
  HRESULT STDMETHODCALLTYPE MakeTokenTree(BSTR formula, IKtTokenLayer** tree) noexcept override;
  HRESULT STDMETHODCALLTYPE FormulaFunction(BSTR Name, IDispatch** function) noexcept override;
  HRESULT STDMETHODCALLTYPE get_FormulaFunctions(IDispatch** value) noexcept override;
  HRESULT STDMETHODCALLTYPE EvaluateArgument(IDispatch* TargetCellValue, IDispatch* item,
                                             IDispatch* prop, IDispatch* context,
                                             IDispatch* sco) noexcept override;
  HRESULT STDMETHODCALLTYPE EvaluateInCell(BSTR formula, IDispatch* cell,
                                           IDispatch* TargetCellValue) noexcept override;
  HRESULT STDMETHODCALLTYPE SetPropertyFormula(LONG propertyKey, BSTR formula,
                                               BSTR stringFormat) noexcept override;
  HRESULT STDMETHODCALLTYPE SetDefinition(BSTR name, BSTR formula) noexcept override;
  HRESULT STDMETHODCALLTYPE get_PropertyFormulas(IDispatch** value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_Definitions(IDispatch** value) noexcept override;
  HRESULT STDMETHODCALLTYPE get_ResultFormat(BSTR* value) noexcept override;
  HRESULT STDMETHODCALLTYPE put_ResultFormat(BSTR value) noexcept override;

 private:
  // Shared by the listener and its host.
  struct Dictionaries {
    ScriptingDictionary functions;
    ScriptingDictionary property_formulas;
    ScriptingDictionary definitions;
  };

  explicit FormulaListenerObject(Dictionaries dictionaries);

  Dictionaries dictionaries_;
};

}  // namespace ktcom
