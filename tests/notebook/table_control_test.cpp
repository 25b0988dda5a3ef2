// Writing into a table's cells.
#include "notebook/tables/table_control.h"

#include <gtest/gtest.h>

#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"

namespace ktnotebook {
namespace {

Notebook OneCell() {
  return ReadNotebook(
      "<notebook><form name='F'><table name='T' key='1'>"
      "<property key='1' name='X' type='number' unit='g'/><row id='1'>"
      "<cell property='X' state='entered' tag='weighed'>5 "
      "mg</cell></row></table></form></notebook>",
      "n.xml");
}

TEST(TableControl, WritesEndStateAndTag) {
  using Write = void (*)(TableControl&, CellObject&);
  const std::pair<Write, std::string> writes[] = {
      {[](auto& control, auto& cell) { control.WriteText(cell, u"7", true); }, "7"},
      {[](auto& control, auto& cell) { control.WriteText(cell, u"n.d.", false); }, "n.d."},
      {[](auto& control, auto& cell) { control.ClearNumber(cell); }, "5 mg"},
      {[](auto& control, auto& cell) { control.SetValue(cell, 0.007, u"0.0", u"g"); }, "7.0 g"},
  };
  for (const auto& [write, text] : writes) {
    const Notebook notebook = OneCell();
    const NotebookTable& table = *notebook.forms[0]->Tables()[0];
    const NotebookCell cell = table.Rows()[0].CellAt(0);
    EXPECT_EQ(ToUtf8(cell.State() + u" " + cell.Tag()), "entered weighed");
    write(*table.Control(), *cell.Object());
    EXPECT_EQ(ToUtf8(cell.State() + u" " + cell.Tag()), " ") << text;
    EXPECT_EQ(ToUtf8(cell.Text()), text);
    table.Control()->FinishCell(*cell.Object());
    EXPECT_EQ(notebook.forms[0]->Log().changed, 1U) << text;
  }
}

}  // namespace
}  // namespace ktnotebook
