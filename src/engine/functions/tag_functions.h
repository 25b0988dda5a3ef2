// TAG, ISENTERED and the row tag function: what the host notes beside table data.
#pragma once

#include "functions/function_base.h"
#include "values/leak_check.h"

namespace ktformula {

// The functions whose first argument is a reference to a cell.
class CellTagFunction : public FunctionBase {
 public:
  Bound Bind(Binder& binder, const TokenLayer& args, const Place& anchor,
             unsigned run) const override;
};

// TAG(reference): the tag of a cell; a text is its own tag. All three raise kComponentError for
// other arguments and contexts; a reference that is not recognized gives an error value.
class TagFunction final : public CellTagFunction, private LeakCounted<TagFunction> {
 public:
  static constexpr std::string_view kClassName = "TagFunction";

  void ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                    CellValue& TargetCellValue) override;
};

// ISENTERED(reference): whether a cell's tag, or a text, is "entered".
class IsEnteredFunction final : public CellTagFunction, private LeakCounted<IsEnteredFunction> {
 public:
  static constexpr std::string_view kClassName = "IsEnteredFunction";

  void ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                    CellValue& TargetCellValue) override;
};

// The tag of a row by its name, "ID" unless a second argument gives another. No formula can call
// it: it has no name in the language.
class RowTagFunction final : public CellTagFunction, private LeakCounted<RowTagFunction> {
 public:
  static constexpr std::string_view kClassName = "RowTagFunction";

  void ComputeValue(const TokenLayer* args, NotebookObject* anchor,
                    CellValue& TargetCellValue) override;
};

}  // namespace ktformula
