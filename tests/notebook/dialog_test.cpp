// The properties dialog over a notebook in a database.
#include <filesystem>
#include <gtest/gtest.h>

#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "notebook/store/notebook_store.h"
#include "notebook/tables/recalculation.h"
#include "test_host/scripted_form.h"

namespace ktnotebook {
namespace {

constexpr std::string_view kNotebook =
    "<notebook><form name='F'><table name='T' key='1'>"
    "<property key='11' name='Mass' type='number'/><property key='12' name='Double' type='number'/>"
    "<row id='1'><cell property='Mass' state='entered'>4</cell></row>"
    "<fieldListener progID='KtFormula9.FormulaListener' name='Sums' position='1'>"
    "<propertyFormula format='0' key='12'>[Mass]\n+[a]</propertyFormula>"
    "<definition name='a'>1</definition></fieldListener></table></form></notebook>";

std::string Doubled(const Notebook& notebook) {
  RecalculateForm(*notebook.forms.front(), 8);
  return ToUtf8(notebook.forms.front()->FindTable(u"T")->Rows()[0].CellAt(1).Text());
}

// From a notebook in a database through the dialog and back into the database.
TEST(DialogOverNotebook, SavesAndRecalculates) {
  NotebookStore store(OpenDatabase(":memory:", true), true);
  Notebook imported = ReadNotebook(kNotebook, "test");
  store.Add(imported, *imported.forms.front());

  const Notebook opened = store.Load(u"F");
  EXPECT_EQ(Doubled(opened), "5");
  const auto dialog = ktformula::MakeRef<ktformula::ScriptedForm>();
  opened.framework->UseDialogs([&] { return dialog; });
  dialog->actions = {"formula a = 3", "pick Double",        "formula [Mass]*\r\n[a]",
                     "pick Mass",     "pick Double",        "see [Mass]*\r\n[a]|0",
                     "focus formula", "formula [Mass]*[a]", "focus format",
                     "enter"};
  opened.forms.front()->FindTable(u"T")->Listeners().front()->EditProperties();
  EXPECT_EQ(Doubled(opened), "12");
  EXPECT_EQ(Doubled(store.Load(u"F")), "12");
  EXPECT_TRUE(std::filesystem::exists(opened.framework->ApplicationPath()));
}

}  // namespace
}  // namespace ktnotebook
