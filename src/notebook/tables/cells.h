// Cells and rows of the notebook's tables.
//
// NotebookCell and NotebookRow say where a cell or a row is: values that may be copied, that stay
// good when the table grows, and that may not be used after the form is gone. The objects that
// references and listeners meet are made when somebody asks for them.
#pragma once

#include <compare>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "host/notebook_objects.h"
#include "notebook/tables/column_data.h"
#include "notebook/tables/living_objects.h"
#include "values/dictionary.h"
#include "values/number_text.h"

namespace ktnotebook {

using ktformula::Ref;

class CellObject;
class NotebookColumn;
class NotebookRow;
class NotebookTable;
class RowObject;
struct PropertyDefinition;

class NotebookCell {
 public:
  // The row counts from 0.
  NotebookCell(NotebookColumn& column, std::size_t row) noexcept : column_(&column), row_(row) {}

  NotebookColumn& OwningColumn() const noexcept { return *column_; }
  NotebookRow OwningRow() const noexcept;
  const PropertyDefinition& Definition() const noexcept;
  std::size_t RowIndex() const noexcept { return row_; }

  CellContent Content() const;
  std::u16string Text() const;
  double MinNumber() const noexcept;
  double MaxNumber() const noexcept;
  // Good until a state, or a tag, is set in the column.
  const std::u16string& State() const noexcept;
  const std::u16string& Tag() const noexcept;

  // The text as somebody with the locale reads it: numbers in their separators, any other text as
  // it is kept.
  std::u16string TextIn(const ktformula::Locale& locale) const;

  // The unit that the number of the cell is written in when its text names none: the column's where
  // it was typed, the base unit where it was computed; "" when the text names one or is no number.
  std::u16string UnwrittenUnit() const;

  // Whether the text may be typed here: Booleans and dates take what reads as one, blanks around
  // it aside, other cells everything.
  bool Accepts(std::u16string_view typed) const;
  bool Accepts(std::u16string_view typed, const ktformula::Locale& locale) const;
  // What was probably meant, in the locale, by a text for a cell of numbers that is no number in it
  // but would be one in another locale: "187,04" for "187.04" in German. Nothing for numbers, and
  // for texts that are no number anywhere.
  std::optional<std::u16string> MeantNumber(std::u16string_view typed,
                                            const ktformula::Locale& locale) const;
  // Takes a text as typed by the user, less the blanks around it, with the numbers that it says;
  // state and tag follow, "" ends both. It is typed in the notebook's locale or in another, and
  // kept in the notebook's.
  void Enter(std::u16string_view typed) const;
  void Enter(std::u16string_view typed, const ktformula::Locale& locale) const;
  // Takes a text with the numbers that it says, without a word about state and tag.
  void TakeTypedText(std::u16string_view text) const;
  // Takes a text that the table control wrote: a value in base units, or a mere text.
  void TakeWrittenText(std::u16string_view text, bool is_value) const;
  void SetContent(const ContentView& content) const;
  void SetState(std::u16string_view state, std::u16string_view tag) const;

  // The cell as references and listeners meet it: the same object as long as somebody holds it.
  Ref<CellObject> Object() const;

  friend auto operator<=>(const NotebookCell&, const NotebookCell&) = default;

 private:
  NotebookColumn* column_;
  std::size_t row_;
};

class NotebookRow {
 public:
  // The index counts from 0.
  NotebookRow(NotebookTable& table, std::size_t index) noexcept : table_(&table), index_(index) {}

  // Counted from 1.
  int Position() const noexcept { return static_cast<int>(index_) + 1; }
  std::size_t Index() const noexcept { return index_; }
  std::u16string ID() const;
  NotebookTable& Parent() const noexcept { return *table_; }
  NotebookCell CellAt(std::size_t column_index) const;
  // The tags that were given; the tag "ID" is the row's id unless it is among them.
  const ktformula::Dictionary<std::u16string>& Tags() const;
  // The value of the tag, "" when there is none.
  std::u16string Tag(std::u16string_view name) const;
  // False when the row has a tag of this name.
  bool AddTag(std::u16string_view name, std::u16string_view value) const;

  // As a cell's.
  Ref<RowObject> Object() const;

 private:
  NotebookTable* table_;
  std::size_t index_;
};

// The rows of a table in their order.
class NotebookRows {
 public:
  class Iterator {
   public:
    Iterator(NotebookTable& table, std::size_t index) noexcept : table_(&table), index_(index) {}
    NotebookRow operator*() const noexcept { return {*table_, index_}; }
    Iterator& operator++() noexcept {
      ++index_;
      return *this;
    }
    bool operator==(const Iterator&) const = default;

   private:
    NotebookTable* table_;
    std::size_t index_;
  };

  NotebookRows(NotebookTable& table, std::size_t count) noexcept : table_(table), count_(count) {}

  std::size_t size() const noexcept { return count_; }
  NotebookRow operator[](std::size_t index) const noexcept { return {table_, index}; }
  Iterator begin() const noexcept { return {table_, 0}; }
  Iterator end() const noexcept { return {table_, count_}; }

 private:
  NotebookTable& table_;
  std::size_t count_;
};

class CellObject final : public ktformula::TableCell, public LivingObject<CellObject> {
 public:
  explicit CellObject(const NotebookCell& cell) : cell_(cell) {}

  const NotebookCell& Cell() const noexcept { return cell_; }

  std::u16string TypeName() const override { return u"Cell"; }
  bool ResolvesRelativeReferences() const noexcept override { return true; }
  Ref<NotebookObject> ResolveRelative(std::span<const std::u16string> parts) override;
  Ref<ktformula::PropertyScope> Scope() override;
  Ref<ktformula::ELNProperty> Property() const override;
  Ref<ktformula::TableRow> Row() const override;
  Ref<ktformula::TableProperty> Column() const override;
  std::u16string Text() const override { return cell_.Text(); }
  double MinNumber() const override { return cell_.MinNumber(); }
  double MaxNumber() const override { return cell_.MaxNumber(); }
  std::u16string StructureText() const override;
  std::u16string StateText() const override { return cell_.State(); }
  std::u16string Tag() const override { return cell_.Tag(); }
  std::u16string Key() const override;
  std::u16string UnitName() const override;

 private:
  NotebookCell cell_;
};

class RowObject final : public ktformula::TableRow, public LivingObject<RowObject> {
 public:
  explicit RowObject(const NotebookRow& row) : row_(row) {}

  std::u16string TypeName() const override { return u"Row"; }
  bool ResolvesRelativeReferences() const noexcept override { return true; }
  Ref<NotebookObject> ResolveRelative(std::span<const std::u16string> parts) override;
  Ref<ktformula::PropertyScope> Scope() override;
  Ref<ktformula::Table> OwningTable() const override;
  Ref<ktformula::TableCell> Cell(const ktformula::TableProperty& column) const override;
  std::u16string Tag(std::u16string_view name) const override { return row_.Tag(name); }
  std::optional<std::size_t> Place() const override { return row_.Index(); }

 private:
  NotebookRow row_;
};

}  // namespace ktnotebook
