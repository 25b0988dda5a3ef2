#include "notebook/tables/table_control.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "notebook/tables/written_content.h"
#include "values/platform.h"

namespace ktnotebook {

namespace {

constexpr std::size_t kProgressInterval = 4096;

// How many cells may be finished until progress is told; at least 1.
std::size_t UntilProgress(const WriteLog& log) {
  return kProgressInterval - static_cast<std::size_t>(log.finished % kProgressInterval);
}

// Of at most as many cells as that.
void NoteFinished(WriteLog& log, std::uint64_t cells) {
  log.finished += cells;
  if (log.finished % kProgressInterval == 0 && log.on_progress) log.on_progress(log.finished);
}

const NotebookCell& OwnCell(ktformula::TableCell& cell) {
  return static_cast<CellObject&>(cell).Cell();
}

}  // namespace

NotebookCell TableControl::BeginWrite(ktformula::TableCell& cell) {
  const NotebookCell& own = OwnCell(cell);
  if (current_ != own) {
    EndWrite();
    before_ = SnapshotOf(own);
    current_ = own;
    own.OwningColumn().TakeState(own.RowIndex(), u"", u"");
  }
  return own;
}

void TableControl::WriteText(ktformula::TableCell& cell, std::u16string_view text, bool flag) {
  const NotebookCell own = BeginWrite(cell);
  own.OwningColumn().TakeWrittenText(own.RowIndex(), text, flag);
}

void TableControl::ClearNumber(ktformula::TableCell& cell) {
  const NotebookCell own = BeginWrite(cell);
  CellContent content = own.Content();
  content.SetNumbers(0, 0);
  own.OwningColumn().Take(own.RowIndex(), content);
}

void TableControl::SetValue(ktformula::TableCell& cell, double value, std::u16string_view pattern,
                            std::u16string_view unit_name) {
  const NotebookCell own = BeginWrite(cell);
  const NotebookColumn& column = own.OwningColumn();
  own.OwningColumn().Take(own.RowIndex(), WrittenNumber(*column.OwnProperty(), value, pattern,
                                                        unit_name, form_.Units()));
}

void TableControl::FinishCell(ktformula::TableCell& cell) {
  const NotebookCell own = OwnCell(cell);
  WriteLog& log = form_.Log();
  if (current_ == own && !Holds(before_.content)) {
    ++log.changed;
    if (log.keep_cells) log.cells.push_back(own);
  }
  EndWrite();
  NoteFinished(log, 1);
}

template <typename Write>
void TableControl::WriteRows(NotebookColumn& column, std::size_t first, std::size_t count,
                             Write write) {
  WriteLog& log = form_.Log();
  for (std::size_t done = 0; done < count;) {
    const std::size_t end = done + std::min(count - done, UntilProgress(log));
    const std::size_t begin = std::exchange(done, end);
    for (std::size_t i = begin; i < end; ++i) {
      const std::size_t row = first + i;
      const bool was_marked = column.Data().IsMarked(row);
      if (was_marked) column.TakeState(row, u"", u"");
      const bool is_new = write(i);
      if (is_new || was_marked) column.NoteChange(row);
      if (!is_new) continue;
      ++log.changed;
      if (log.keep_cells) log.cells.emplace_back(column, row);
    }
    NoteFinished(log, end - begin);
  }
}

void TableControl::WriteNumbers(NotebookColumn& column, std::size_t first,
                                std::span<const double> numbers) {
  EndWrite();
  const bool is_date = column.Definition().type == DataType::kDate;
  ColumnData::GeneralNumbers general(column.data_);
  WriteRows(column, first, numbers.size(), [&](std::size_t i) {
    const std::optional<double> rounded = is_date ? std::nullopt : RoundedToGeneralForm(numbers[i]);
    if (rounded) return general.Set(first + i, *rounded);
    return column.TakeWrittenText(first + i, ktformula::NumberToText(numbers[i]), true);
  });
}

void TableControl::WriteTexts(NotebookColumn& column, std::size_t first,
                              std::span<const std::uint32_t> which,
                              std::span<const std::u16string_view> texts, bool is_value) {
  EndWrite();
  std::vector<double> numbers;
  numbers.reserve(texts.size());
  for (const std::u16string_view text : texts)
    numbers.push_back(WrittenText(column.Definition().type, text, is_value).min);
  ColumnData::SharedTexts shared(column.data_, texts, numbers);
  WriteRows(column, first, which.size(),
            [&](std::size_t i) { return shared.Set(first + i, which[i]); });
}

bool TableControl::Holds(const CellContent& content) const {
  std::u16string buffer;
  return IsSameContent(current_->OwningColumn().Data().Content(current_->RowIndex(), buffer),
                       content);
}

bool TableControl::IsToBeNoted() const {
  const Snapshot& known = noted_ ? *noted_ : before_;
  return !Holds(known.content) || current_->State() != known.state || current_->Tag() != known.tag;
}

TableControl::Snapshot TableControl::SnapshotOf(const NotebookCell& cell) {
  return {cell.Content(), cell.State(), cell.Tag()};
}

void TableControl::NoteUnfinished() {
  if (!current_ || !IsToBeNoted()) return;
  current_->OwningColumn().NoteChange(current_->RowIndex());
  noted_ = std::make_unique<Snapshot>(SnapshotOf(*current_));
}

void TableControl::EndWrite() {
  if (!current_) return;
  if (IsToBeNoted()) current_->OwningColumn().NoteChange(current_->RowIndex());
  current_.reset();
  noted_.reset();
}

}  // namespace ktnotebook
