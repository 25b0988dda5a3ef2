// Notebooks for C.
#include <cstddef>
#include <memory>
#include <utility>

#include "notebook/c_interface/call.h"
#include "notebook/c_interface/results.h"
#include "notebook/c_interface/session.h"

using namespace ktnotebook;
using UsedNotebook = InUse<NotebookObject>;

ktf9_status ktf9_notebook_create(const char* name, const char* locale, ktf9_notebook** notebook,
                                 ktf9_error** error) {
  Clear(notebook);
  return Call(error, [&] {
    ktf9_notebook*& place = NeedPlace(notebook, "notebook");
    ktformula9::Notebook made(TextOr(name, "Notebook"), TextOr(locale, "C"));
    Give(std::make_shared<NotebookObject>(std::make_shared<Session>(std::move(made))), place);
  });
}

ktf9_status ktf9_notebook_destroy(ktf9_notebook* notebook, ktf9_error** error) {
  return Call(error, [&] {
    if (notebook == nullptr) return;
    const UsedNotebook own(notebook, "notebook");
    if (own.IsNested()) {
      throw CallFailure(KTF9_REFUSED, "notebook",
                        "a function that a formula calls can not destroy its notebook");
    }
    Destroy<NotebookObject>(notebook, "notebook");
    own.OwnSession()->End();
  });
}

ktf9_status ktf9_notebook_name(ktf9_notebook* notebook, ktf9_text* name, ktf9_error** error) {
  return Call(error, [&] {
    const UsedNotebook own(notebook, "notebook");
    ktf9_text& place = NeedPlace(name, "name");
    place = ViewOf(own.Own().name = own->Name());
  });
}

ktf9_status ktf9_notebook_add_table(ktf9_notebook* notebook, const char* name, ktf9_table** table,
                                    ktf9_error** error) {
  Clear(table);
  return Call(error, [&] {
    const UsedNotebook own(notebook, "notebook");
    GivePart<TableObject>(own.OwnSession(), own->AddTable(NeedText(name, "name")), table);
  });
}

ktf9_status ktf9_notebook_table(ktf9_notebook* notebook, const char* name, ktf9_table** table,
                                ktf9_error** error) {
  Clear(table);
  return Call(error, [&] {
    const UsedNotebook own(notebook, "notebook");
    const std::string_view text = NeedText(name, "name");
    NeedPlace(table, "table");
    Renaming("table", "name",
             [&] { GivePart<TableObject>(own.OwnSession(), own->At(text), table); });
  });
}

ktf9_status ktf9_notebook_tables(ktf9_notebook* notebook, ktf9_texts** names, ktf9_error** error) {
  Clear(names);
  return Call(error, [&] {
    const UsedNotebook own(notebook, "notebook");
    ktf9_texts*& place = NeedPlace(names, "names");
    GiveTexts(
        own->Tables(), [](const ktformula9::Table& table) { return table.Name(); }, place);
  });
}

ktf9_status ktf9_notebook_recalculate(ktf9_notebook* notebook, int rounds,
                                      ktf9_recalculation** result, ktf9_error** error) {
  Clear(result);
  return Call(error, [&] {
    const UsedNotebook own(notebook, "notebook");
    ktformula9::Recalculation done = own->Recalculate(rounds);
    if (result != nullptr) GiveRecalculation(std::move(done), *result);
  });
}

ktf9_status ktf9_notebook_check(ktf9_notebook* notebook, ktf9_problems** problems,
                                ktf9_error** error) {
  Clear(problems);
  return Call(error, [&] {
    const UsedNotebook own(notebook, "notebook");
    ktf9_problems*& place = NeedPlace(problems, "problems");
    GiveProblems(own->Check(), place);
  });
}

ktf9_status ktf9_notebook_explain(ktf9_notebook* notebook, const char* cell, int depth,
                                  ktf9_explanation** explanation, ktf9_error** error) {
  Clear(explanation);
  return Call(error, [&] {
    const UsedNotebook own(notebook, "notebook");
    ktf9_explanation*& place = NeedPlace(explanation, "explanation");
    GiveExplanation(own->Explain(NeedText(cell, "cell"), depth), place);
  });
}

ktf9_status ktf9_notebook_undo(ktf9_notebook* notebook, int* done, ktf9_error** error) {
  return Call(error, [&] {
    const bool is_done = UsedNotebook(notebook, "notebook")->Undo();
    if (done != nullptr) *done = is_done ? 1 : 0;
  });
}

ktf9_status ktf9_notebook_redo(ktf9_notebook* notebook, int* done, ktf9_error** error) {
  return Call(error, [&] {
    const bool is_done = UsedNotebook(notebook, "notebook")->Redo();
    if (done != nullptr) *done = is_done ? 1 : 0;
  });
}

ktf9_status ktf9_notebook_forget_history(ktf9_notebook* notebook, ktf9_error** error) {
  return Call(error, [&] { UsedNotebook(notebook, "notebook")->ForgetHistory(); });
}

ktf9_status ktf9_notebook_add_function(ktf9_notebook* notebook, const ktf9_function* function,
                                       ktf9_error** error) {
  return Call(error, [&] {
    const UsedNotebook own(notebook, "notebook");
    AddFunction(*own.operator->(), NeedStruct(function, "function"));
  });
}

ktf9_status ktf9_notebook_functions(ktf9_notebook* notebook, ktf9_functions** functions,
                                    ktf9_error** error) {
  Clear(functions);
  return Call(error, [&] {
    const UsedNotebook own(notebook, "notebook");
    ktf9_functions*& place = NeedPlace(functions, "functions");
    GiveFunctions(own->Functions(), place);
  });
}
