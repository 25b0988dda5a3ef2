#include "functions/function_base.h"

#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

bool FunctionBase::Holds(const LayerItem& condition, ELNProperty* property, NotebookObject* context,
                         NotebookObject* sco) const {
  CellValue value;
  try {
    Evaluate(value, condition, property, context, sco);
  } catch (const RaisedError&) {
    return false;
  }
  return value.IsBoolean() && value.BooleanValue();
}

const FormulaToken* AsReference(const LayerItem& argument) noexcept {
  const FormulaToken* token = argument.token;
  return token != nullptr && token->TokenType == kFormulaTokenTypeReference ? token : nullptr;
}

Ref<Table> ReferredTable(const FormulaToken& reference, NotebookObject* sco, CellValue& target) {
  const Ref<NotebookObject> object = target.ResolveReference(*reference.Reference, sco, sco);
  if (!object || object->Kind() != NotebookObjectKind::kTable) return nullptr;
  return Ref<Table>(static_cast<Table*>(object.get()));
}

std::u16string CountMessage(std::u16string_view before, std::size_t count,
                            std::u16string_view after) {
  return std::u16string(before) + ToDecimalText(static_cast<std::int64_t>(count)) +
         std::u16string(after);
}

}  // namespace ktformula
