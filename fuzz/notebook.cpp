// Notebook files: what can be read is recalculated and written, and reads back to the same.
#include "fuzz.h"

#include "notebook/files/notebook_error.h"
#include "notebook/files/notebook_file.h"
#include "notebook/tables/recalculation.h"

namespace {

using ktnotebook::Notebook;

// False when the text is no notebook.
bool Read(std::string_view text, Notebook& notebook) {
  try {
    notebook = ktnotebook::ReadNotebook(text, "input");
  } catch (const ktnotebook::NotebookError&) {
    return false;
  }
  return true;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Notebook notebook;
  if (!Read(AsText(data, size), notebook)) return 0;
  for (const auto& form : notebook.forms)
    ktnotebook::RecalculateForm(*form, 3);
  const std::string written = ktnotebook::WriteNotebook(notebook.forms);
  const Notebook again = ktnotebook::ReadNotebook(written, "written");
  ExpectSame("a notebook and what it reads back to", written,
             ktnotebook::WriteNotebook(again.forms));
  return 0;
}
