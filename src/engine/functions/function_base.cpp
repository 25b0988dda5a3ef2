#include "functions/function_base.h"

#include "values/text.h"

namespace ktformula {

namespace {

bool Takes(const FunctionArguments& arguments, std::size_t count) noexcept {
  return count >= arguments.least && count <= arguments.most &&
         !(arguments.must_be_odd && count % 2 == 0);
}

// What the function says of arguments that it does not take.
std::u16string CountMessage(const FunctionArguments& arguments, const TokenLayer* args) {
  const std::u16string name(arguments.name);
  if (args == nullptr) {
    return u"the " + name + u" function requires " + std::u16string(arguments.required);
  }
  const std::size_t count = args->Count();
  const bool is_even = count >= arguments.least && count <= arguments.most;
  return u"the number of arguments for " + name + u" function (" +
         ToDecimalText(static_cast<std::int64_t>(count)) + u") is " +
         (is_even ? u"even" : u"not " + std::u16string(arguments.taken));
}

[[gnu::noinline]] void RefuseCount(const FunctionRow& row, const TokenLayer* args,
                                   CellValue& target) {
  const std::u16string message = CountMessage(row.arguments, args);
  if (row.arguments.wrong_count == WrongCount::kRaises) Raise(row.source, message);
  target.SetError(kComponentError, row.source, message);
}

}  // namespace

void FunctionBase::ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                                CellValue& TargetCellValue) {
  if (args == nullptr || !Takes(row_.arguments, args->Count())) {
    return RefuseCount(row_, args, TargetCellValue);
  }
  Compute(*args, anchor, TargetCellValue);
}

Bound FunctionBase::Bind(Binder& binder, const TokenLayer& args, const Place& anchor,
                         unsigned run) const {
  if (!Takes(row_.arguments, args.Count())) return {};
  return BindArguments(binder, args, anchor, run);
}

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

Ref<Table> TableOf(NotebookObject* object) {
  if (object == nullptr) return nullptr;
  switch (object->Kind()) {
    case NotebookObjectKind::kTable: return Ref<Table>(static_cast<Table*>(object));
    case NotebookObjectKind::kTableProperty:
      return static_cast<const TableProperty&>(*object).OwningTable();
    default: return nullptr;
  }
}

}  // namespace ktformula
