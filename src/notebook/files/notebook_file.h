// The notebook file: XML that holds forms with their tables, listeners included.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "notebook/files/csv_note.h"
#include "notebook/files/framework.h"
#include "notebook/tables/model.h"

namespace ktnotebook {

// Forms and the framework behind their listeners.
struct Notebook {
  Ref<NotebookFramework> framework = ktformula::MakeRef<NotebookFramework>();
  // Of forms that are added.
  NamedLocale locale = {};
  std::vector<Ref<NotebookForm>> forms = {};
  // What the user should know about how a CSV file was taken.
  std::vector<CsvNote> notes = {};
  // What a file has that is not written again, such as "2 comments"; "" for nothing.
  std::string dropped = {};

  // Adds a form without fields, whatever its name.
  NotebookForm& AddForm(std::u16string_view name);
};

// Reads a notebook, in UTF-8 or the encoding that it declares. Throws NotebookError with
// "NAME:LINE: reason" for anything that is not exactly a notebook: malformed XML, unknown elements
// or attributes, keys, names or ids used twice.
Notebook ReadNotebook(std::string_view bytes, const std::string& name);

// The same for a file, which may also be unreadable.
Notebook ReadNotebookFile(const std::string& path);

// The notebook, or forms of one locale, as a notebook file's text. Throws NotebookError, naming the
// place, for a text that XML can not hold, and for one that is no number where it would be read
// back as a number.
std::string WriteNotebook(const Notebook& notebook);
std::string WriteNotebook(const std::vector<Ref<NotebookForm>>& forms);

// The tag of a cell in this state unless it is given another.
std::u16string_view DefaultTag(std::u16string_view state) noexcept;

}  // namespace ktnotebook
