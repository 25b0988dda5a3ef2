#include "notebook/tables/table_control.h"

#include "formats/display_pattern.h"
#include "notebook/tables/number_pattern.h"

namespace ktnotebook {

namespace {

constexpr std::uint64_t kProgressInterval = 4096;

}  // namespace

NotebookCell& TableControl::BeginWrite(ktformula::TableCell& cell) {
  auto& own = static_cast<NotebookCell&>(cell);
  if (current_ != &own) {
    current_ = &own;
    before_ = own.Content();
    own.SetState(u"", u"");
  }
  return own;
}

void TableControl::WriteText(ktformula::TableCell& cell, std::u16string_view text, bool flag) {
  BeginWrite(cell).TakeWrittenText(text, flag);
}

void TableControl::ClearNumber(ktformula::TableCell& cell) {
  NotebookCell& own = BeginWrite(cell);
  CellContent content = own.Content();
  content.SetNumbers(0, 0);
  own.SetContent(std::move(content));
}

void TableControl::SetValue(ktformula::TableCell& cell, double value, std::u16string_view pattern,
                            std::u16string_view unit_name) {
  NotebookCell& own = BeginWrite(cell);
  CellContent content;
  Ref<ktformula::Unit> unit;
  if (!unit_name.empty()) unit = DisplayUnit(*own.Property(), unit_name, form_.Units());
  content.text = FormatNumber(unit ? unit->FromBase(value) : value, pattern);
  if (unit) {
    content.unit = unit->UnitText();
    content.text += u" " + content.unit;
  }
  content.SetNumbers(value, value);
  own.SetContent(std::move(content));
}

void TableControl::FinishCell(ktformula::TableCell& cell) {
  auto& own = static_cast<NotebookCell&>(cell);
  WriteLog& log = form_.Log();
  ++log.finished;
  if (log.finished % kProgressInterval == 0 && log.on_progress) log.on_progress(log.finished);
  if (current_ == &own && !own.Content().IsSameAs(before_)) {
    ++log.changed;
    if (log.keep_cells) log.cells.push_back(&own);
  }
  current_ = nullptr;
}

}  // namespace ktnotebook
