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

}  // namespace

ktformula::WatchedForm WatchForm(NotebookForm& form, NotebookFramework& framework) {
  return WatchForm(form, [&framework](ktformula::IKtFormulaListener& other, NotebookTable& table) {
    return StandIn(other, table, framework);
  });
}

}  // namespace ktnotebook
