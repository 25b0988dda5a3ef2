// IF, ONERROR and SELECT: functions that choose what becomes the result and evaluate only what they
// need.
#pragma once

#include <cstddef>
#include <optional>

#include "functions/function_base.h"
#include "functions/lookup.h"
#include "values/leak_check.h"

namespace ktformula {

// IF(condition, value, condition, value, ..., default). Wrong numbers of arguments give an error
// value; what the chosen value raises is raised.
class IfFunction final : public FunctionBase, private LeakCounted<IfFunction> {
 public:
  static constexpr std::string_view kClassName = "IfFunction";

  IfFunction() : FunctionBase(FunctionRowOf(kClassName)) {}

 private:
  void Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) override;
  Bound BindArguments(Binder& binder, const TokenLayer& args, const Place& anchor,
                      RowRun run) const override;
};

// ONERROR(first, second, ...): the first argument without an error. Never raises: when all fail the
// result is the last one's error, as a value.
class OnErrorFunction final : public FunctionBase, private LeakCounted<OnErrorFunction> {
 public:
  static constexpr std::string_view kClassName = "OnErrorFunction";

  OnErrorFunction() : FunctionBase(FunctionRowOf(kClassName)) {}

 private:
  void Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) override;
  Bound BindArguments(Binder& binder, const TokenLayer& args, const Place& anchor,
                      RowRun run) const override;
};

// SELECT(expression, table, condition): the expression in the first row for which the condition
// holds; an error value when there is none. Raises kComponentError for other arguments.
class SelectFunction final : public FunctionBase, private LeakCounted<SelectFunction> {
 public:
  static constexpr std::string_view kClassName = "SelectFunction";

  SelectFunction() : FunctionBase(FunctionRowOf(kClassName)) {}

 private:
  void Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) override;
  Bound BindArguments(Binder& binder, const TokenLayer& args, const Place& anchor,
                      RowRun run) const override;
  void SelectFrom(const TokenLayer& args, const Table& table, NotebookObject* anchor,
                  CellValue& target) const;
  std::optional<Lookup::Answer> LookedUpRow(const TokenLayer& args, const Table& table,
                                            NotebookObject* anchor) const;
  Ref<TableRow> FirstRow(const TokenLayer& args, const Table& table, NotebookObject* anchor) const;
};

}  // namespace ktformula
