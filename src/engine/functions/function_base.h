// What the functions of the formula language share.
#pragma once

#include <string>
#include <string_view>

#include "formula/binding.h"
#include "formula/evaluator.h"
#include "formula/formula_function.h"
#include "host/notebook_objects.h"
#include "values/cell_value.h"

namespace ktformula {

// Keeps the listener from Initialize to Terminate and evaluates arguments in its name.
class FunctionBase : public IKtFormulaFunction {
 public:
  void Initialize(NamedValues& listener) final { listener_ = &listener; }
  void Terminate() final { listener_ = nullptr; }
  bool IsPure() const noexcept final { return true; }
  Bound Bind(Binder& binder, const TokenLayer& args, const Place& anchor,
             unsigned run) const override = 0;

 protected:
  // Evaluates one argument. `anchor` is the row, or other object, that references start from,
  // `this_object` what "this" denotes.
  void Evaluate(CellValue& target, const LayerItem& argument, ELNProperty* property,
                NotebookObject* anchor, NotebookObject* this_object) const {
    const Ref<HostObject> keep_alive = listener_ != nullptr ? listener_->KeepAlive() : nullptr;
    EvaluateArgument(target, argument, {property, anchor, this_object, listener_});
  }

  // In which an argument is evaluated for this anchor, and for "this" standing for it.
  EvaluationContext ContextAt(NotebookObject* anchor) const {
    return {nullptr, anchor, anchor, listener_};
  }

  // Whether the argument evaluates, without raising, to something that is Boolean and true.
  bool Holds(const LayerItem& condition, ELNProperty* property, NotebookObject* anchor,
             NotebookObject* this_object) const;

 private:
  NamedValues* listener_ = nullptr;
};

// The reference that an argument is, nullptr for any other argument. Belongs to the formula's tree.
const ReferencePath* AsReference(const LayerItem& argument) noexcept;

// The table that the argument refers to, empty when it refers to anything else.
Ref<Table> ReferredTable(const ReferencePath& reference, NotebookObject* anchor, CellValue& target);

// text + count + text, for messages about the number of arguments.
std::u16string CountMessage(std::u16string_view before, std::size_t count,
                            std::u16string_view after);

}  // namespace ktformula
