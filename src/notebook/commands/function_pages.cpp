#include "notebook/commands/function_pages.h"

#include <algorithm>
#include <cctype>

#include "notebook/commands/wrap.h"
#include "notebook/files/utf.h"

namespace ktnotebook {

namespace {

std::string UpperCase(std::string_view text) {
  std::string upper(text);
  std::transform(upper.begin(), upper.end(), upper.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
  return upper;
}

std::string HelpText(const ktformula::FunctionRow& row) {
  const auto& [summary, forms, errors, examples] = row.help;
  const std::string name = ToUtf8(row.name);
  std::string text = name + " " + std::string(summary) + "\n\n";
  for (const ktformula::FunctionForm& form : forms) {
    text += "  " + std::string(form.syntax) + "\n" + Wrap(form.meaning, "      ", "      ");
  }
  text += "\n" + Wrap(errors, "  ", "  ") + "\n";
  for (const ktformula::FunctionExample& example : examples) {
    text +=
        "  " + std::string(example.formula) + "\n      shows " + std::string(example.shows) + "\n";
  }
  return text;
}

std::string PageSection(const ktformula::FunctionRow& row) {
  const auto& [summary, forms, errors, examples] = row.help;
  const std::string name = ToUtf8(row.name);
  std::string text = "## " + name + "\n\n`" + name + "` " + std::string(summary) +
                     ".\n\n| Form | Gives |\n|---|---|\n";
  for (const ktformula::FunctionForm& form : forms) {
    text += "| `" + std::string(form.syntax) + "` | " + std::string(form.meaning) + " |\n";
  }
  text += "\n" + Wrap(errors, "", "") + "\n| Example | Shows |\n|---|---|\n";
  for (const ktformula::FunctionExample& example : examples) {
    text += "| `" + std::string(example.formula) + "` | `" + std::string(example.shows) + "` |\n";
  }
  return text;
}

}  // namespace

std::vector<const ktformula::FunctionRow*> FindFunctions(std::string_view name) {
  std::vector<const ktformula::FunctionRow*> found;
  for (const ktformula::FunctionRow& row : ktformula::NamedFunctions()) {
    if (name.empty() || UpperCase(name) == ToUtf8(row.name)) found.push_back(&row);
  }
  return found;
}

std::vector<std::u16string> FunctionNames() {
  std::vector<std::u16string> names;
  for (const ktformula::FunctionRow& row : ktformula::NamedFunctions())
    names.emplace_back(row.name);
  return names;
}

std::string FunctionHelpText(const std::vector<const ktformula::FunctionRow*>& functions) {
  std::string text;
  for (const ktformula::FunctionRow* row : functions) {
    if (!text.empty()) text += "\n";
    text += HelpText(*row);
  }
  return text;
}

std::string FunctionReferencePage() {
  std::string page =
      "# Functions\n\n"
      "`ktnotebook functions` prints the same in the terminal. Function names may be written in "
      "any\n"
      "letter case. The examples show what a cell of row A of the table Reactants in\n"
      "[examples/amide-coupling.xml](../examples/amide-coupling.xml) would show, before that file "
      "is\n"
      "recalculated; plain numbers are in base units (kg, kg/mol).\n\n"
      "An expression or condition is computed for each row of the table in turn: `[X]` in it is "
      "the\n"
      "column X of that row, `[this:parent:X]` the column X of the row that the formula stands "
      "in.\n";
  for (const ktformula::FunctionRow& row : ktformula::NamedFunctions()) {
    page += "\n" + PageSection(row);
  }
  return page;
}

}  // namespace ktnotebook
