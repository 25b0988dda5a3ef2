// The control through which listeners write into a table's cells.
#pragma once

#include "host/notebook_objects.h"
#include "notebook/tables/model.h"

namespace ktnotebook {

// Writes at once, and on FinishCell tells the form's log whether the cell has changed since the
// first write. A cell that is written to is a computed one: it loses its state and tag.
class TableControl final : public ktformula::GridControl {
 public:
  explicit TableControl(NotebookForm& form) : form_(form) {}

  std::u16string TypeName() const override { return u"TableControl"; }
  void WriteText(ktformula::TableCell& cell, std::u16string_view text, bool flag) override;
  void ClearNumber(ktformula::TableCell& cell) override;
  void SetValue(ktformula::TableCell& cell, double value, std::u16string_view pattern,
                std::u16string_view unit_name) override;
  void FinishCell(ktformula::TableCell& cell) override;

 private:
  NotebookCell& BeginWrite(ktformula::TableCell& cell);

  NotebookForm& form_;
  // The cell being written and what it held before; nullptr between cells.
  NotebookCell* current_ = nullptr;
  CellContent before_;
};

}  // namespace ktnotebook
