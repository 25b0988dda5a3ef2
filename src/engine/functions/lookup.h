// Looking a row up by a key: conditions of the form [Key]=…, where what is sought is the same for
// all rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formula/binding.h"
#include "formula/evaluator.h"
#include "values/cell_value.h"

namespace ktformula {

// The first row of each key of a column, of texts or of numbers.
class KeyIndex {
 public:
  explicit KeyIndex(Ref<TableProperty> column) : column_(std::move(column)) {}

  // Whether a row can be found now. Looks through the column if it has changed.
  bool Renew();
  // kCellValueTypeString or kCellValueTypeNumber.
  CellValueTypeEnum Kind() const noexcept { return kind_; }

  // The first row whose text, or whose two numbers, are these, counted from 0.
  std::optional<std::size_t> FindText(std::u16string_view text) const;
  std::optional<std::size_t> FindNumbers(double min, double max) const;

 private:
  template <typename IsKey>
  std::optional<std::size_t> Find(std::size_t hash, IsKey is_key) const;
  void Fill();
  void Add(std::size_t row, std::size_t hash);

  Ref<TableProperty> column_;
  CellValueTypeEnum kind_ = kCellValueTypeUnknown;
  std::optional<std::uint64_t> stamp_;
  // Rows, counted from 1, by the hash of their keys; 0 for a free place.
  std::vector<std::uint32_t> places_;
  mutable std::u16string buffer_;
  std::u16string key_;
};

// What SELECT keeps of a condition that looks a key up.
class Lookup {
 public:
  // nullptr when the condition is of another form. `at` is a row of the table that is looked
  // through, its anchor's run that of the table.
  static std::shared_ptr<Lookup> Make(Binder& binder, const LayerItem& condition,
                                      const Standpoint& at);

  // The lanes of SELECT over the rows of `run`, for a value that is a column of the table; nullptr
  // when what is sought, or the value, is not simple enough. `table` is the one that is looked
  // through.
  static LanesPtr MakeLanes(const std::shared_ptr<Lookup>& lookup, Binder& binder,
                            const LayerItem& value, const Standpoint& at, RowRun run, Table& table);

  // The row, counted from 0, for which the condition holds in `context`, that of a row. Empty when
  // it has to be looked for row by row; then the answer's row is empty when there is none.
  struct Answer {
    std::optional<std::size_t> row;
  };
  std::optional<Answer> Find(const EvaluationContext& context);

  KeyIndex& Index() noexcept { return index_; }

 private:
  Lookup(Ref<TableProperty> column, const Term& sought, const LayerItem& item, bool is_head)
      : index_(std::move(column)), sought_(sought), item_(item), is_head_(is_head) {}

  // For a key and what is sought on its other side, each with its item; nullptr when the one is no
  // column of the table or the other not the same for all its rows.
  static std::shared_ptr<Lookup> MakeFor(Binder& binder, const LayerItem& key_item, const Term& key,
                                         const LayerItem& item, const Term& sought, bool is_head,
                                         const Standpoint& at);
  std::optional<Answer> FindValue(const CellValue& sought) const;

  KeyIndex index_;
  Term sought_;
  LayerItem item_;
  // Whether what is sought stands on the left.
  bool is_head_;
};

}  // namespace ktformula
