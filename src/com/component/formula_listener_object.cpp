#include "com/component/formula_listener_object.h"

#include <utility>

#include "com/component/arguments.h"
#include "com/component/cell_value_object.h"
#include "com/component/evaluation_stack.h"
#include "com/component/token_objects.h"
#include "formula/evaluator.h"
#include "functions/standard_functions.h"

namespace ktcom {

using ktformula::FormulaListener;
using ktformula::Ref;

namespace {

class PropertyFormulaObject final : public Object<PropertyFormulaObject, IKtPropertyFormula> {
 public:
  static constexpr const GUID& kClassIdentifier = CLSID_PropertyFormula;

  explicit PropertyFormulaObject(std::shared_ptr<const ktformula::PropertyFormula> formula)
      : formula_(std::move(formula)) {}

  HRESULT STDMETHODCALLTYPE get_Formula(BSTR* value) noexcept override {
    return Give(value, [&] { return formula_->Formula; });
  }
  HRESULT STDMETHODCALLTYPE get_StringFormat(BSTR* value) noexcept override {
    return Give(value, [&] { return formula_->StringFormat; });
  }
  HRESULT STDMETHODCALLTYPE get_TokenTree(IKtTokenLayer** value) noexcept override {
    return Give(value, [&] {
      return formula_->TokenTree != nullptr ? MakeTreeObject(formula_->TokenTree) : nullptr;
    });
  }

 private:
  std::shared_ptr<const ktformula::PropertyFormula> formula_;
};

ComPtr<IDispatch> ToDictionary(const ktformula::PropertyFormulas& formulas) {
  ScriptingDictionary dictionary;
  for (const auto& [key, formula] : formulas) {
    const auto object = MakeObject<PropertyFormulaObject>(formula);
    dictionary.Add(key, Variant(static_cast<IDispatch*>(object.Get())));
  }
  return dictionary.Dispatch();
}

}  // namespace

FormulaListenerObject::FormulaListenerObject(ScriptingDictionary functions)
    : ListenerFaces(ktformula::MakeRef<FormulaListener>(
          ktformula::StandardFunctions(), std::make_unique<ScriptedFunctions>(functions))),
      functions_(std::move(functions)) {}

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
    const std::shared_ptr<ktformula::CellValue> defined = Engine().DefinedValue(View(Name));
    return defined != nullptr ? MakeObject<CellValueObject>(*defined) : nullptr;
  });
}

HRESULT FormulaListenerObject::MakeTokenTree(BSTR formula, IKtTokenLayer** tree) noexcept {
  return Give(tree, [&] { return MakeTreeObject(Engine().MakeTokenTree(View(formula))); });
}

HRESULT FormulaListenerObject::FormulaFunction(BSTR Name, IDispatch** function) noexcept {
  return Give(function, [&] { return ToFunctionObject(Engine().FormulaFunction(View(Name))); });
}

HRESULT FormulaListenerObject::get_FormulaFunctions(IDispatch** value) noexcept {
  return Give(value, [&] { return functions_.Dispatch(); });
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
  return Give(value, [&] { return ToDictionary(Engine().Configuration().property_formulas); });
}

HRESULT FormulaListenerObject::get_Definitions(IDispatch** value) noexcept {
  return Give(value, [&] { return ToDictionary(Engine().Configuration().definitions); });
}

HRESULT FormulaListenerObject::get_ResultFormat(BSTR* value) noexcept {
  return Give(value, [&] { return Engine().ResultFormat(); });
}

HRESULT FormulaListenerObject::put_ResultFormat(BSTR value) noexcept {
  return Answer([&] { Engine().SetResultFormat(View(value)); });
}

}  // namespace ktcom
