// What users are told about functions: its examples in a notebook, and its page.
#include "functions/function_help.h"

#include <gtest/gtest.h>

#include "notebook/commands/function_pages.h"
#include "notebook/commands/text_output.h"
#include "notebook/files/file.h"
#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "values/cell_value.h"
#include "values/text.h"

namespace ktnotebook {
namespace {

TEST(FunctionHelp, ExamplesShowWhatTheySay) {
  const Notebook notebook = ReadNotebookFile(KT_SOURCE_DIR "/examples/amide-coupling.xml");
  const NotebookTable& table = *notebook.forms[0]->FindTable(u"Reactants");
  const NotebookCell cell = table.Rows()[0].CellAt(table.FindColumn(u"Note")->Index());
  for (const ktformula::FunctionHelp& help : ktformula::AllFunctionHelp()) {
    for (const auto& [formula, shows] : help.examples) {
      ktformula::CellValue value;
      table.ListenerComputing(cell.OwningColumn())
          ->EvaluateInCell(ktformula::Widen(formula), *cell.Object(), value);
      EXPECT_EQ(ToUtf8(ValueText(value)), shows) << formula;
    }
  }
}

TEST(FunctionHelp, PageIsMadeOfIt) {
  EXPECT_EQ(ReadWholeFile(KT_SOURCE_DIR "/docs/functions.md"), FunctionReferencePage());
}

}  // namespace
}  // namespace ktnotebook
