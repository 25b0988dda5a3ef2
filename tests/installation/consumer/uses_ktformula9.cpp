#include <ktformula9.h>
#include <ktformula9.hpp>
#include <string_view>

// What the library throws has to be caught by its type on this side, too.
bool IsRefused(const ktformula9::Notebook& notebook) {
  try {
    notebook.At("Nothing");
    return false;
  } catch (const ktformula9::Error& error) {
    return error.Reason() == ktformula9::Error::Kind::kNotFound;
  }
}

int main() {
  ktformula9::Notebook notebook;
  ktformula9::Table table = notebook.AddTable("Reactants");
  table.AddColumn("Mass", {.unit = "g"});
  table.AddColumn("Double", {.unit = "g", .formula = "[Mass]*2"});
  table.AddRow({"1.22"});
  notebook.Recalculate();
  const bool is_computed = table.At("Double").At(0).text == "2.44 g";
  const bool is_expected_version = std::string_view(ktf9_version()) == EXPECTED_VERSION;
  return is_computed && is_expected_version && IsRefused(notebook) ? 0 : 1;
}
