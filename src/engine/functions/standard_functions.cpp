#include "functions/standard_functions.h"

#include <array>

#include "functions/conditional_functions.h"
#include "functions/count_function.h"
#include "functions/extreme_functions.h"
#include "functions/sum_function.h"
#include "functions/tag_functions.h"

namespace ktformula {

namespace {

template <typename Function>
std::unique_ptr<IKtFormulaFunction> Create() {
  return std::make_unique<Function>();
}

}  // namespace

std::span<const FunctionClass> StandardFunctions() {
  static const std::array<FunctionClass, 9> functions{{
      {u"COUNT", &Create<CountFunction>},
      {u"IF", &Create<IfFunction>},
      {u"ISENTERED", &Create<IsEnteredFunction>},
      {u"MAX", &Create<MaxFunction>},
      {u"MIN", &Create<MinFunction>},
      {u"ONERROR", &Create<OnErrorFunction>},
      {u"SELECT", &Create<SelectFunction>},
      {u"SUM", &Create<SumFunction>},
      {u"TAG", &Create<TagFunction>},
  }};
  return functions;
}

}  // namespace ktformula
