#include "notebook/files/watched_form.h"

#include "functions/function_table.h"
#include "notebook/files/listener_face.h"

namespace ktnotebook {

using ktformula::FormulaListener;
using ktformula::Ref;

namespace {

// One of this program's with what the other is configured with.
Ref<FormulaListener> StandIn(ktformula::IKtFormulaListener& other, NotebookTable& table,
                             NotebookFramework& framework) {
  Ref<FormulaListener> listener =
      ktformula::MakeRef<FormulaListener>(ktformula::StandardFunctions());
  listener->Initialize(Ref<NotebookFramework>(&framework), table.Parent().OwnerOf(table.OwnField()),
                       nullptr);
  const Ref<ktformula::XmlDocument> document = framework.CreateXmlDocument();
  const Ref<ktformula::XmlElement> root = document->CreateElement(u"listeners");
  document->SetRoot(*root);
  FaceOf<ktformula::IKtObject>(other).Export(*root, u"");
  listener->SetData(u"xml", root->ChildElements().front().get());
  listener->SetResultFormat(other.ResultFormat());
  return listener;
}

ktformula::WatchedTable WatchTable(NotebookTable& table, NotebookFramework& framework) {
  ktformula::WatchedTable watched{table.Name(), Ref<ktformula::Table>(&table), {}};
  for (const Ref<ktformula::IKtFieldListener>& listener : table.Listeners()) {
    if (auto* const own = dynamic_cast<FormulaListener*>(listener.get())) {
      watched.listeners.emplace_back(own);
    } else if (auto* const other = dynamic_cast<ktformula::IKtFormulaListener*>(listener.get())) {
      watched.listeners.push_back(StandIn(*other, table, framework));
    }
  }
  return watched;
}

// "Reactants:Mass:A".
std::u16string NameOfCell(const ktformula::TableCell& cell) {
  const NotebookCell notebook_cell = static_cast<const CellObject&>(cell).Cell();
  const NotebookRow row = notebook_cell.OwningRow();
  return row.Parent().Name() + u":" + notebook_cell.Definition().name + u":" + row.ID();
}

}  // namespace

ktformula::WatchedForm WatchForm(NotebookForm& form, NotebookFramework& framework) {
  ktformula::WatchedForm watched;
  watched.name = form.Name();
  watched.units = framework.OwnUnits();
  watched.name_of_cell = &NameOfCell;
  for (NotebookTable* table : form.Tables()) {
    if (!watched.owner) watched.owner = form.OwnerOf(table->OwnField());
    watched.tables.push_back(WatchTable(*table, framework));
  }
  for (const Ref<NotebookField>& field : form.Fields()) {
    if (!field->OwnTable()) watched.other_fields.push_back(field->Name());
  }
  return watched;
}

}  // namespace ktnotebook
