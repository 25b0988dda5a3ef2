// Configurations of listeners: what can be read exports to what reads back to the same, and what
// can not be read changes nothing.
#include "fuzz.h"

#include "functions/function_table.h"
#include "listener/formula_listener.h"
#include "notebook/files/utf.h"
#include "notebook/files/xml_document.h"
#include "test_host/framework.h"
#include "test_host/notebook.h"
#include "values/raised_error.h"

namespace ktformula {
namespace {

Ref<XmlElement> Parsed(std::u16string_view text) {
  const auto document = MakeRef<ktnotebook::NotebookXmlDocument>();
  document->LoadText(text);
  return document->Root();
}

std::string Exported(FormulaListener& listener, std::u16string_view mode) {
  const Ref<XmlElement> root = Parsed(u"<r/>");
  listener.Export(*root, mode);
  return ktnotebook::ToUtf8(root->ChildElements().front()->Xml());
}

// False when the listener refuses the text.
bool Set(FormulaListener& listener, std::u16string_view type, std::u16string_view text) {
  const std::string before = Exported(listener, u"");
  try {
    listener.SetData(type, Parsed(text).get());
  } catch (const RaisedError&) {
    ExpectSame("a listener before and after a refusal", before, Exported(listener, u""));
    return false;
  }
  return true;
}

void ReadAndExport(std::u16string_view text) {
  const auto form = MakeRef<TestForm>("table T\n 11 Mass number | 12 Name string\n 4 | a");
  const auto listener = MakeRef<FormulaListener>(StandardFunctions());
  listener->Initialize(MakeRef<TestFramework>(), form->OwnerOf(u"T"), nullptr);
  listener->SetPropertyFormula(12, u"1+1", u"0.0");
  if (!Set(*listener, u"xml", text)) return listener->Terminate();
  const std::string exported = Exported(*listener, u"");
  if (!Set(*listener, u"", *ktnotebook::FromUtf8(exported))) std::abort();
  ExpectSame("a configuration and what it reads back to", exported, Exported(*listener, u""));
  listener->TableNotification(*form->Notification(), nullptr);
  listener->Terminate();
}

}  // namespace
}  // namespace ktformula

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ktformula::ReadAndExport(ktnotebook::FromStoredUtf8(AsText(data, size)));
  return 0;
}
