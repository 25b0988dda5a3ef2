// TAG, ISENTERED and the row tag function: what the host notes beside table data.
#pragma once

#include "functions/function_base.h"
#include "values/leak_check.h"

namespace ktformula {

struct TagMessages;

// A function of a reference to a cell, or to a column and with it to the cell of the row for which
// the formula is computed.
class CellNoteFunction : public FunctionBase {
 protected:
  CellNoteFunction(const FunctionRow& row, const TagMessages& messages)
      : FunctionBase(row), messages_(messages) {}

  Bound BindArguments(Binder& binder, const TokenLayer& args, const Place& anchor,
                      RowRun run) const override;

  // The first argument: a reference or a text.
  LayerItem FirstArgument(const TokenLayer& args) const;
  // The row for which the formula is computed, in the same table as the column.
  Ref<TableRow> RowOfColumn(const TableProperty& column, NotebookObject* anchor) const;
  // The cell that the object denotes; empty for a column without a cell in the row.
  Ref<TableCell> DenotedCell(NotebookObject* object, NotebookObject* anchor) const;

 private:
  Ref<TableRow> ContextRow(NotebookObject* anchor) const;

  const TagMessages& messages_;
};

// TAG(reference): the tag of a cell; a text is its own tag. All three raise kComponentError for
// other arguments and contexts; a reference that is not recognized gives an error value.
class TagFunction final : public CellNoteFunction, private LeakCounted<TagFunction> {
 public:
  static constexpr std::string_view kClassName = "TagFunction";

  TagFunction();

 private:
  void Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) override;
};

// ISENTERED(reference): whether a cell's tag, or a text, is "entered".
class IsEnteredFunction final : public CellNoteFunction, private LeakCounted<IsEnteredFunction> {
 public:
  static constexpr std::string_view kClassName = "IsEnteredFunction";

  IsEnteredFunction();

 private:
  void Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) override;
};

// The tag of a row by its name, "ID" unless a second argument gives another. No formula can call
// it: it has no name in the language.
class RowTagFunction final : public CellNoteFunction, private LeakCounted<RowTagFunction> {
 public:
  static constexpr std::string_view kClassName = "RowTagFunction";

  RowTagFunction();

 private:
  // Nobody promises to tell of the tags of rows.
  Bound BindArguments(Binder&, const TokenLayer&, const Place&, RowRun) const override;
  void Compute(const TokenLayer& args, NotebookObject* anchor, CellValue& target) override;
};

}  // namespace ktformula
