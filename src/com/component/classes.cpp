#include "com/component/classes.h"

#include <array>

#include "com/component/cell_value_object.h"
#include "com/component/format_objects.h"
#include "com/component/formula_listener_object.h"
#include "com/component/function_objects.h"
#include "com/component/property_formula_object.h"
#include "formats/default_formula_format.h"
#include "formats/min_digit_formula_format.h"
#include "functions/conditional_functions.h"
#include "functions/count_function.h"
#include "functions/extreme_functions.h"
#include "functions/sum_function.h"
#include "functions/tag_functions.h"

namespace ktcom {

namespace {

template <typename Class>
ComPtr<IUnknown> Create() {
  return MakeObject<Class>()->Identity();
}

template <typename Function>
ComPtr<IUnknown> CreateFunction() {
  return MakeFunctionObject(std::make_shared<Function>());
}

}  // namespace

std::span<const ComponentClass, kComponentClassCount> ComponentClasses() {
  using DefaultFormat = FormatObject<ktformula::DefaultFormulaFormat, CLSID_DefaultFormulaFormat>;
  using MinDigitFormat =
      FormatObject<ktformula::MinDigitFormulaFormat, CLSID_MinDigitFormulaFormat>;
  static const std::array<ComponentClass, kComponentClassCount> classes{{
      {CLSID_CellValue, u"CellValue", &Create<CellValueObject>},
      {CLSID_FormulaListener, u"FormulaListener", &Create<FormulaListenerObject>},
      {CLSID_PropertyFormula, u"PropertyFormula", &Create<PropertyFormulaObject>},
      {CLSID_DefaultFormulaFormat, u"DefaultFormulaFormat", &Create<DefaultFormat>},
      {CLSID_MinDigitFormulaFormat, u"MinDigitFormulaFormat", &Create<MinDigitFormat>},
      {CLSID_CountFunction, u"CountFunction", &CreateFunction<ktformula::CountFunction>},
      {CLSID_IfFunction, u"IfFunction", &CreateFunction<ktformula::IfFunction>},
      {CLSID_IsEnteredFunction, u"IsEnteredFunction",
       &CreateFunction<ktformula::IsEnteredFunction>},
      {CLSID_MaxFunction, u"MaxFunction", &CreateFunction<ktformula::MaxFunction>},
      {CLSID_MinFunction, u"MinFunction", &CreateFunction<ktformula::MinFunction>},
      {CLSID_OnErrorFunction, u"OnErrorFunction", &CreateFunction<ktformula::OnErrorFunction>},
      {CLSID_RowTagFunction, u"RowTagFunction", &CreateFunction<ktformula::RowTagFunction>},
      {CLSID_SelectFunction, u"SelectFunction", &CreateFunction<ktformula::SelectFunction>},
      {CLSID_SumFunction, u"SumFunction", &CreateFunction<ktformula::SumFunction>},
      {CLSID_TagFunction, u"TagFunction", &CreateFunction<ktformula::TagFunction>},
  }};
  return classes;
}

}  // namespace ktcom
