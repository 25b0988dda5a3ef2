// What the functions of the formula language share.
#pragma once

#include "formula/binding.h"
#include "formula/evaluator.h"
#include "formula/formula_function.h"
#include "functions/function_table.h"
#include "host/notebook_objects.h"
#include "values/cell_value.h"
#include "values/raised_error.h"

namespace ktformula {

// Keeps the listener from Initialize to Terminate and evaluates arguments in its name, and computes
// only what has as many arguments as the function's row says.
class FunctionBase : public IKtFormulaFunction {
 public:
  const FunctionRow& Row() const noexcept { return row_; }

  void Initialize(NamedValues& listener) final { listener_ = &listener; }
  void Terminate() final { listener_ = nullptr; }
  bool IsPure() const noexcept final { return true; }
  void ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                    CellValue& TargetCellValue) final;
  Bound Bind(Binder& binder, const TokenLayer& args, const Place& anchor, unsigned run) const final;

 protected:
  explicit FunctionBase(const FunctionRow& row) : row_(row) {}

  // Computes the function of a number of arguments that it takes.
  virtual void Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) = 0;

  // Binds a call with a number of arguments that the function takes; any other reads nothing.
  virtual Bound BindArguments(Binder& binder, const TokenLayer& args, const Place& anchor,
                              RowRun run) const = 0;

  // Raises kComponentError from the row's source.
  [[noreturn]] void Refuse(std::u16string_view description) const {
    Raise(row_.source, description);
  }

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
  const FunctionRow& row_;
  NamedValues* listener_ = nullptr;
};

// The reference that an argument is, nullptr for any other argument. Belongs to the formula's tree.
const ReferencePath* AsReference(const LayerItem& argument) noexcept;

// The table that the argument refers to, empty when it refers to anything else.
Ref<Table> ReferredTable(const ReferencePath& reference, NotebookObject* anchor, CellValue& target);

// The table that the object is, or whose column it is; empty for anything else, such as nullptr.
Ref<Table> TableOf(NotebookObject* object);

}  // namespace ktformula
