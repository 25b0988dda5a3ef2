// Listeners of foreign classes: the notebook knows them by their interfaces alone.
#include <array>
#include <gtest/gtest.h>

#include "program.h"

#include "functions/function_table.h"
#include "listener/formula_listener.h"
#include "listener/result_formats.h"
#include "notebook/files/file.h"
#include "notebook/files/framework.h"
#include "notebook/files/xml_document.h"

namespace ktnotebook {
namespace {

using namespace ktformula;  // NOLINT(google-build-using-namespace)

// A formula listener that lives elsewhere: XML reaches it, and comes back from it, as text.
class ForeignListener final : public IKtFieldListener,
                              public IKtObject,
                              public IKtConfigurationObject,
                              public IKtListenerData,
                              public IKtFormulaListener {
 public:
  ~ForeignListener() override { Terminate(); }

  std::u16string TypeName() const override { return u"ForeignListener"; }
  void Initialize(Ref<HostFramework> framework, Ref<OwnerCollection> owner,
                  Ref<HostService> service) override {
    framework_ = framework;
    far_->Initialize(framework, owner, service);
  }
  void Create(const ktformula::Field& field, DatabaseAccess& database, std::u16string_view name,
              std::u16string_view program_identifier, std::int16_t position) override {
    far_->Create(field, database, name, program_identifier, position);
  }
  void RequestSave() override { framework_->RequestSave(*this, u""); }
  void Terminate() override {
    far_->Terminate();
    framework_ = nullptr;
  }
  void EditProperties() override { far_->EditProperties(); }
  Ref<IKtConfigurationObject> ConfigurationObject() override {
    return Ref<IKtConfigurationObject>(this);
  }
  Ref<HostObject> Object() override { return Ref<HostObject>(this); }
  std::int32_t Key() const override { return far_->Key(); }
  void SetKey(std::int32_t key) override { far_->SetKey(key); }
  std::u16string Name() const override { return far_->Name(); }
  void SetName(std::u16string_view name) override { far_->SetName(name); }
  std::u16string ProgramIdentifier() const override { return far_->ProgramIdentifier(); }
  void SetProgramIdentifier(std::u16string_view identifier) override {
    far_->SetProgramIdentifier(identifier);
  }
  std::int16_t Position() const override { return far_->Position(); }
  void SetPosition(std::int16_t position) override { far_->SetPosition(position); }
  void Notification16(HostObject*, HostObject*) override {}
  void Notification17(HostObject*, HostObject*) override {}
  void Notification18(HostObject*, HostObject*) override {}
  void Notification19(HostObject*, HostObject*) override {}
  void Notification20(HostObject*, HostObject*) override {}
  void TableNotification(NotificationSource& source, HostObject* detail) override {
    far_->TableNotification(source, detail);
  }

  std::u16string Description(int flag) override { return far_->Description(flag); }
  void Save(DatabaseAccess& database) override { far_->Save(database); }
  void Export(XmlNode& node, std::u16string_view mode) override {
    const auto document = MakeRef<NotebookXmlDocument>();
    const Ref<XmlElement> root = document->CreateElement(u"root");
    far_->Export(*root, mode);
    node.AppendChild(*Parsed(root->ChildElements().front()->Xml()));
  }
  Ref<XmlElement> ReferenceElement(XmlNode& node) override {
    return Parsed(far_->ReferenceElement(node)->Xml());
  }
  void ResolveType(std::u16string_view type_name, HostObject* object) override {
    far_->ResolveType(type_name, object);
  }
  void ResolveObject(HostObject* object, std::u16string_view type_name) override {
    far_->ResolveObject(object, type_name);
  }
  Ref<HostObject> FindObject(std::u16string_view, std::u16string_view, HostObject*) override {
    return nullptr;
  }
  void Refresh() override { far_->Refresh(); }
  void Attach(HostObject*) override {}
  Ref<HostObject> Request(int, std::u16string_view, HostObject*) override { return nullptr; }
  void Inform(int, std::u16string_view) override {}
  Ref<HostObject> Execute(XmlNode& command, HostObject* object) override {
    return far_->Execute(command, object);
  }
  void Store(HostObject& target) override { framework_->Configuration()->Store(*this, target); }
  void MarkStored(HostObject* target) override { far_->MarkStored(target); }

  void SetData(std::u16string_view data_type, HostObject* data_value) override {
    const auto* element = dynamic_cast<XmlElement*>(data_value);
    if (element == nullptr) return far_->SetData(data_type, data_value);
    far_->SetData(data_type, Parsed(element->Xml()).get());
  }

  std::optional<FormulaEntry> FormulaOf(std::int32_t key) const override {
    return far_->FormulaOf(key);
  }
  std::optional<FormulaEntry> DefinitionOf(std::u16string_view name) const override {
    return far_->DefinitionOf(name);
  }
  std::vector<FormulaText> ColumnFormulas() const override { return far_->ColumnFormulas(); }
  std::vector<FormulaText> Definitions() const override { return far_->Definitions(); }
  void ReplaceFormulas(const std::vector<FormulaText>& formulas,
                       const std::vector<FormulaText>& definitions) override {
    far_->ReplaceFormulas(formulas, definitions);
  }
  void SetPropertyFormula(std::int32_t key, std::u16string_view formula,
                          std::u16string_view string_format) override {
    far_->SetPropertyFormula(key, formula, string_format);
  }
  void SetDefinition(std::u16string_view name, std::u16string_view formula) override {
    far_->SetDefinition(name, formula);
  }
  std::u16string ResultFormat() const override { return far_->ResultFormat(); }
  void SetResultFormat(std::u16string_view identifier) override {
    far_->SetResultFormat(identifier);
  }
  void EvaluateInCell(std::u16string_view formula, TableCell& cell, CellValue& target) override {
    far_->EvaluateInCell(formula, cell, target);
  }

 private:
  Ref<XmlElement> Parsed(std::u16string_view xml) const {
    const Ref<XmlDocument> document = framework_->CreateXmlDocument();
    document->LoadText(xml);
    return document->Root();
  }

  Ref<HostFramework> framework_;
  Ref<FormulaListener> far_ = MakeRef<FormulaListener>(StandardFunctions());
};

Ref<IKtFieldListener> CreateForeign(std::u16string_view identifier) {
  if (identifier == kFormulaListenerIdentifier) return MakeRef<ForeignListener>();
  if (identifier == kMinDigitFormulaFormatIdentifier) return MakeRef<MinDigitFormulaFormat>();
  return nullptr;
}

// What a round of commands over the notebook file prints; the address is FORM/TABLE:COLUMN:ROW.
std::string RunCommands(const std::string& file, const std::string& form, const std::string& table,
                        const std::string& column, const std::string& row) {
  const TemporaryFolder folder;
  const std::string database = "--db=" + folder.File("n.db");
  const std::string definition = form + "/" + table + ":new";
  const std::string address = form + "/" + table + ":" + column;
  std::string printed;
  for (const Arguments& arguments : std::initializer_list<Arguments>{
           {"recalculate", "--json", file},
           {"recalculate", "-o", "-", file},
           {"eval", "--json", "--file", file, "--cell", address + ":" + row, "[" + column + "]"},
           {"check", "--json", file},
           {"explain", "--json", "--file", file, address + ":" + row},
           {"import", database, file},
           {"formula", database, address},
           {"definition", database, definition, "6*7"},
           {"formula", database, address, "[new]", "--format", "0.00"},
           {"definition", database, definition},
           {"formula", database, address},
           {"export", database, form}}) {
    const Program program(arguments);
    printed += arguments.front() + " " + std::to_string(program.status) + "\n" + program.out.str() +
               program.err.str();
  }
  return printed;
}

class ForeignListenerTest : public ::testing::Test {
 protected:
  ~ForeignListenerTest() override { NotebookFramework::UseClasses({}); }

  TemporaryFolder folder_;
};

TEST_F(ForeignListenerTest, CommandsWorkWithForeignClassesAsWithTheirOwn) {
  const std::string odd = folder_.File("odd.xml");
  WriteWholeFile(odd, R"(<notebook><form name="F"><table name="T" key="1">
    <property key="1" name="A" type="number" unit="g" numberFormatting="true"/>
    <property key="2" name="B" type="number" unit="g" numberFormatting="true"/>
    <row id="1"><cell property="A" state="entered">1.230 g</cell></row>
    <fieldListener progID="KtFormula9.FormulaListener" name="&lt;&#13;" position="1"
      resultFormat="KtFormula9.MinDigitFormulaFormat">
      <propertyFormula key="2"> [A] / &#13; <![CDATA[[<&]]]></propertyFormula>
      <definition name="&lt;&amp;">3</definition></fieldListener>
    <fieldListener progID="KtFormula9.MinDigitFormulaFormat" name="M" position="2"/>
    </table></form></notebook>)");
  const std::string examples = KT_SOURCE_DIR "/examples/";
  const std::vector<std::array<std::string, 5>> rows = {
      {examples + "amide-coupling.xml", "Amide coupling", "Reactants", "Moles", "A"},
      {examples + "puromycin.xml", "Puromycin", "Treated", "Model", "1"},
      {odd, "F", "T", "B", "1"},
  };
  for (const auto& [file, form, table, column, row] : rows) {
    NotebookFramework::UseClasses({});
    const std::string expected = RunCommands(file, form, table, column, row);
    NotebookFramework::UseClasses(&CreateForeign);
    EXPECT_EQ(RunCommands(file, form, table, column, row), expected);
    EXPECT_NE(expected.find("\n6*7\n"), std::string::npos) << expected;
  }
}

TEST_F(ForeignListenerTest, ClassesThatAreNotThereAreRefused) {
  NotebookFramework::UseClasses([](std::u16string_view) { return nullptr; });
  const std::string csv = folder_.File("t.csv");
  WriteWholeFile(csv, "A\n1\n");
  const std::string reason = "the program identifier \"KtFormula9.FormulaListener\" is not known\n";
  for (const Arguments& arguments :
       std::initializer_list<Arguments>{{"recalculate", KT_SOURCE_DIR "/examples/aspirin.xml"},
                                        {"recalculate", csv, "--formula", "B=[A]+1"}}) {
    const Program program(arguments);
    EXPECT_EQ(program.status, 1);
    EXPECT_TRUE(program.err.str().ends_with(reason)) << program.err.str();
  }
}

TEST(XmlDocument, TakesElementsOfOtherDocuments) {
  const auto document = MakeRef<NotebookXmlDocument>();
  document->LoadText(u"<a/>");
  Ref<XmlElement> guest;
  {
    const auto other = MakeRef<NotebookXmlDocument>();
    other->LoadText(u"<b c=\"&lt;\"> \r\n<d/><![CDATA[]] >\r]]></b>");
    guest = other->Root();
    document->Root()->AppendChild(*guest);
    EXPECT_EQ(other->Root()->Xml(), guest->Xml());
  }
  guest->SetAttribute(u"e", u"1");
  EXPECT_EQ(document->Root()->Xml(), u"<a><b c=\"&lt;\" e=\"1\"> \n<d/><![CDATA[]] >\n]]></b></a>");
  EXPECT_EQ(guest->OwnerDocument().get(), document.get());

  const auto last = MakeRef<NotebookXmlDocument>();
  last->SetRoot(*guest);
  last->Root()->AppendChild(*last->CreateElement(u"f"));
  EXPECT_EQ(guest->ChildElements().size(), 2U);
  EXPECT_EQ(document->Root()->ChildElements().front()->ChildElements().size(), 1U);
}

}  // namespace
}  // namespace ktnotebook
