// What users are told about problems and errors.
#include "notebook/commands/error_pages.h"

#include <gtest/gtest.h>

#include "analysis/error_messages.h"

#include "notebook/files/file.h"
#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "values/cell_value.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktnotebook {
namespace {

std::u16string DescriptionOf(const NotebookCell& cell, std::string_view formula) {
  ktformula::CellValue value;
  try {
    cell.OwningRow()
        .Parent()
        .ListenerComputing(cell.OwningColumn())
        ->EvaluateInCell(ktformula::Widen(formula), *cell.Object(), value);
  } catch (const ktformula::RaisedError& error) {
    return error.Description();
  }
  return value.ErrorDescription();
}

TEST(ErrorPages, ExamplesComeToTheirMessages) {
  const Notebook notebook = ReadNotebookFile(KT_SOURCE_DIR "/examples/amide-coupling.xml");
  const NotebookTable& table = *notebook.forms[0]->FindTable(u"Reactants");
  const NotebookCell cell = table.Rows()[0].CellAt(table.FindColumn(u"Note")->Index());
  for (const ktformula::ErrorMessage& message : ktformula::ErrorMessages()) {
    if (message.example.empty()) continue;
    const std::u16string description = DescriptionOf(cell, message.example);
    EXPECT_EQ(ktformula::FindErrorMessage(description), &message)
        << message.example << " comes to " << ToUtf8(description);
  }
}

TEST(ErrorPages, PageIsMadeOfTheTables) {
  EXPECT_EQ(ReadWholeFile(KT_SOURCE_DIR "/docs/errors.md"), ErrorReferencePage());
}

}  // namespace
}  // namespace ktnotebook
