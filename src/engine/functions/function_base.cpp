#include "functions/function_base.h"

#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

bool FunctionBase::Holds(const LayerItem& condition, ELNProperty* property, NotebookObject* anchor,
                         NotebookObject* this_object) const {
  CellValue value;
  try {
    Evaluate(value, condition, property, anchor, this_object);
  } catch (const RaisedError&) {
    return false;
  }
  return value.IsBoolean() && value.BooleanValue();
}

const ReferencePath* AsReference(const LayerItem& argument) noexcept {
  const bool is_reference =
      !argument.IsLayer() && argument.TokenType() == kFormulaTokenTypeReference;
  return is_reference ? &argument.Reference() : nullptr;
}

Ref<Table> ReferredTable(const ReferencePath& reference, NotebookObject* anchor,
                         CellValue& target) {
  const Ref<NotebookObject> object = ResolveReference(target, reference, anchor, anchor);
  if (!object || object->Kind() != NotebookObjectKind::kTable) return nullptr;
  return Ref<Table>(static_cast<Table*>(object.get()));
}

std::u16string CountMessage(std::u16string_view before, std::size_t count,
                            std::u16string_view after) {
  return std::u16string(before) + ToDecimalText(static_cast<std::int64_t>(count)) +
         std::u16string(after);
}

}  // namespace ktformula
