#include "formula/formula_function.h"

#include "formula/binding.h"

namespace ktformula {

Bound IKtFormulaFunction::Bind(Binder&, const TokenLayer&, const Place&, unsigned) const {
  Bound bound;
  bound.reads.is_unknown = true;
  return bound;
}

}  // namespace ktformula
