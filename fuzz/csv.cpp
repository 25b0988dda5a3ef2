// CSV files: what can be read is recalculated with a column more, written, and reads back to the
// same.
#include "fuzz.h"

#include "notebook/files/csv_file.h"
#include "notebook/files/notebook_error.h"
#include "notebook/tables/recalculation.h"

namespace {

std::string Rewritten(std::string_view text, const ktnotebook::CsvOptions& options) {
  const ktnotebook::Notebook read =
      ktnotebook::ReadCsvNotebook(std::string(text), "input", u"table", options);
  ktnotebook::NotebookForm& form = *read.forms.front();
  ktnotebook::RecalculateForm(form, 3);
  return ktnotebook::WriteCsv(*form.Tables().front());
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ktnotebook::CsvOptions options;
  options.formulas.emplace_back(u"f", u"[a]/SUM([a])");
  options.formats.emplace_back(u"f", u"0.0%");
  std::string written;
  try {
    written = Rewritten(AsText(data, size), {});
    Rewritten(AsText(data, size), options);
  } catch (const ktnotebook::NotebookError&) {
    return 0;
  }
  ExpectSame("a CSV file and what it reads back to", written, Rewritten(written, {}));
  return 0;
}
