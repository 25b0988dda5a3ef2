#include <notebook/tables/model.h>
#include <notebook/tables/unit_catalogue.h>

int main() {
  const auto units = ktformula::MakeRef<ktnotebook::NotebookUnitCatalogue>();
  const auto form = ktformula::MakeRef<ktnotebook::NotebookForm>(u"Form", units);
  const bool is_new = form->AddTable(u"Table", 1) != nullptr;
  return is_new && form->AddTable(u"Table", 2) == nullptr ? 0 : 1;
}
