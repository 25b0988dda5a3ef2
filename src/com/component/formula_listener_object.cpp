#include "com/component/formula_listener_object.h"

#include <utility>

#include "com/component/arguments.h"
#include "com/component/cell_value_object.h"
#include "com/component/evaluation_stack.h"
#include "com/component/property_formula_object.h"
#include "com/component/token_objects.h"
#include "formula/evaluator.h"
#include "functions/function_table.h"

namespace ktcom {

using ktformula::FormulaListener;
using ktformula::Ref;

FormulaListenerObject::FormulaListenerObject(Dictionaries dictionaries)
    : ListenerFaces(ktformula::MakeRef<FormulaListener>(
          ktformula::StandardFunctions(),
          ktformula::FunctionRegistry(std::make_unique<ScriptedFunctions>(dictionaries.functions)),
          ktformula::FormulaConfiguration{
              ktformula::PropertyFormulas(
                  std::make_unique<ScriptedFormulas>(dictionaries.property_formulas)),
              ktformula::PropertyFormulas(
                  std::make_unique<ScriptedFormulas>(dictionaries.definitions))})),
      dictionaries_(std::move(dictionaries)) {}

void* FormulaListenerObject::Native(const std::type_info& type) noexcept {
  if (type == typeid(FormulaListener)) return &Engine();
  if (type == typeid(ktformula::NamedValues)) {
    return static_cast<ktformula::NamedValues*>(&Engine());
  }
  return ListenerFaces::Native(type);
}

HRESULT FormulaListenerObject::Recalculate(IDispatch* source, IDispatch* detail) noexcept {
  return Answer([&] {
    const EvaluationCall call;
    Engine().Recalculate(*AdaptRequired<ForeignNotificationSource>(source),
                         AnyObject(detail).get());
  });
}

HRESULT FormulaListenerObject::SigDigFormat(double gNumberToFormat, SHORT NumSigDig,
                                            BSTR IUnitString, IDispatch* ELNProperty,
                                            BSTR* pattern) noexcept {
  return Give(pattern, [&] {
    return Engine().SigDigFormat(gNumberToFormat, NumSigDig, View(IUnitString),
                                 *AdaptRequired<ForeignELNProperty>(ELNProperty));
  });
}

HRESULT FormulaListenerObject::DefinedValue(BSTR Name, IKtCellValue** value) noexcept {
  return Give(value, [&] {
    const EvaluationCall call;
    return ToValueObject(Engine().DefinedValue(View(Name)));
  });
}

HRESULT FormulaListenerObject::MakeTokenTree(BSTR formula, IKtTokenLayer** tree) noexcept {
  return Give(tree, [&] { return ToTreeObject(Engine().MakeTokenTree(View(formula))); });
}

HRESULT FormulaListenerObject::FormulaFunction(BSTR Name, IDispatch** function) noexcept {
  return Give(function, [&] { return ToFunctionObject(Engine().FormulaFunction(View(Name))); });
}

HRESULT FormulaListenerObject::get_FormulaFunctions(IDispatch** value) noexcept {
  return Give(value, [&] { return dictionaries_.functions.Dispatch(); });
}

HRESULT FormulaListenerObject::EvaluateArgument(IDispatch* TargetCellValue, IDispatch* item,
                                                IDispatch* prop, IDispatch* context,
                                                IDispatch* sco) noexcept {
  return Answer([&] {
    const EvaluationCall call;
    const Ref<ktformula::ELNProperty> property = Adapt<ForeignELNProperty>(prop);
    const Ref<ktformula::NotebookObject> anchor = AdaptNotebookObject(context);
    const Ref<ktformula::NotebookObject> own = AdaptNotebookObject(sco);
    ktformula::EvaluateArgument(CellValueArgument(TargetCellValue), ItemArgument(item),
                                {property.get(), anchor.get(), own.get(), &Engine()});
  });
}

HRESULT FormulaListenerObject::EvaluateInCell(BSTR formula, IDispatch* cell,
                                              IDispatch* TargetCellValue) noexcept {
  return Answer([&] {
    const EvaluationCall call;
    Engine().EvaluateInCell(View(formula), *AdaptRequired<ForeignTableCell>(cell),
                            CellValueArgument(TargetCellValue));
  });
}

HRESULT FormulaListenerObject::SetPropertyFormula(LONG propertyKey, BSTR formula,
                                                  BSTR stringFormat) noexcept {
  return Answer(
      [&] { Engine().SetPropertyFormula(propertyKey, View(formula), View(stringFormat)); });
}

HRESULT FormulaListenerObject::SetDefinition(BSTR name, BSTR formula) noexcept {
  return Answer([&] { Engine().SetDefinition(View(name), View(formula)); });
}

HRESULT FormulaListenerObject::get_PropertyFormulas(IDispatch** value) noexcept {
  return Give(value, [&] { return dictionaries_.property_formulas.Dispatch(); });
}

HRESULT FormulaListenerObject::get_Definitions(IDispatch** value) noexcept {
  return Give(value, [&] { return dictionaries_.definitions.Dispatch(); });
}

HRESULT FormulaListenerObject::get_ResultFormat(BSTR* value) noexcept {
  return Give(value, [&] { return Engine().ResultFormat(); });
}

HRESULT FormulaListenerObject::put_ResultFormat(BSTR value) noexcept {
  return Answer([&] { Engine().SetResultFormat(View(value)); });
}

}  // namespace ktcom
