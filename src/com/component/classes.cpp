#include "com/component/classes.h"

#include <algorithm>
#include <array>

#include "com/component/cell_value_object.h"
#include "com/component/format_objects.h"
#include "com/component/formula_listener_object.h"
#include "com/component/function_objects.h"
#include "com/component/property_formula_object.h"
#include "functions/conditional_functions.h"
#include "functions/count_function.h"
#include "functions/extreme_functions.h"
#include "functions/sum_function.h"
#include "functions/tag_functions.h"
#include "listener/result_formats.h"
#include "values/text.h"

namespace ktcom {

namespace {

template <typename Class>
ComPtr<IUnknown> Create() {
  return MakeObject<Class>()->Identity();
}

// The class of a function, by the name that its row has.
template <typename Function>
ComponentClass FunctionClass(const CLSID& identifier) {
  constexpr auto create = []() -> ComPtr<IUnknown> {
    return MakeFunctionObject(std::make_shared<Function>());
  };
  return {identifier, ktformula::Widen(Function::kClassName), create};
}

}  // namespace

std::span<const ComponentClass, kComponentClassCount> ComponentClasses() {
  using DefaultFormat = FormatObject<ktformula::DefaultFormulaFormat, CLSID_DefaultFormulaFormat>;
  using MinDigitFormat =
      FormatObject<ktformula::MinDigitFormulaFormat, CLSID_MinDigitFormulaFormat>;
  static const std::array<ComponentClass, kComponentClassCount> classes{
      ComponentClass{CLSID_CellValue, u"CellValue", &Create<CellValueObject>},
      ComponentClass{CLSID_FormulaListener, u"FormulaListener", &Create<FormulaListenerObject>},
      ComponentClass{CLSID_PropertyFormula, u"PropertyFormula", &Create<PropertyFormulaObject>},
      ComponentClass{CLSID_DefaultFormulaFormat, u"DefaultFormulaFormat", &Create<DefaultFormat>},
      ComponentClass{CLSID_MinDigitFormulaFormat, u"MinDigitFormulaFormat",
                     &Create<MinDigitFormat>},
      FunctionClass<ktformula::CountFunction>(CLSID_CountFunction),
      FunctionClass<ktformula::IfFunction>(CLSID_IfFunction),
      FunctionClass<ktformula::IsEnteredFunction>(CLSID_IsEnteredFunction),
      FunctionClass<ktformula::MaxFunction>(CLSID_MaxFunction),
      FunctionClass<ktformula::MinFunction>(CLSID_MinFunction),
      FunctionClass<ktformula::OnErrorFunction>(CLSID_OnErrorFunction),
      FunctionClass<ktformula::RowTagFunction>(CLSID_RowTagFunction),
      FunctionClass<ktformula::SelectFunction>(CLSID_SelectFunction),
      FunctionClass<ktformula::SumFunction>(CLSID_SumFunction),
      FunctionClass<ktformula::TagFunction>(CLSID_TagFunction),
  };
  return classes;
}

const GUID& ClassIdentifierOf(std::string_view name) noexcept {
  for (const ComponentClass& one : ComponentClasses()) {
    if (std::equal(one.name.begin(), one.name.end(), name.begin(), name.end())) {
      return one.identifier;
    }
  }
  return GUID_NULL;
}

}  // namespace ktcom
