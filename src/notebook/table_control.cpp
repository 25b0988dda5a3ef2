#include "notebook/table_control.h"

#include "notebook/number_pattern.h"

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
  CellContent& content = BeginWrite(cell).MutableContent();
  content.min = content.max = 0;
}

void TableControl::SetValue(ktformula::TableCell& cell, double value, std::u16string_view pattern,
                            std::u16string_view unit_name) {
  NotebookCell& own = BeginWrite(cell);
  CellContent& content = own.MutableContent();
  const NotebookUnit* default_unit = own.Definition().unit;
  const NotebookUnit* unit = nullptr;
  if (default_unit != nullptr && !unit_name.empty()) {
    unit = form_.Units().FindUnit(unit_name);
    if (unit == nullptr) unit = default_unit;
  }
  content.text = FormatNumber(unit != nullptr ? unit->FromBase(value) : value, pattern);
  content.unit = unit != nullptr ? unit->UnitText() : std::u16string();
  if (unit != nullptr) content.text += u" " + content.unit;
  content.SetNumbers(value, value);
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
