// A listener's configuration: reading, writing, storing, and the host's questions about it.
#include <gtest/gtest.h>

#include "formula/fake_function.h"
#include "listener/formula_listener.h"
#include "test_host/database.h"
#include "test_host/framework.h"
#include "test_host/notebook.h"
#include "values/describe.h"
#include "values/text.h"

namespace ktformula {
namespace {

class FakeService : public HostService {
 public:
  std::u16string refreshed;
  std::u16string TypeName() const override { return u"Service"; }
  void RefreshObject(std::u16string_view key) override { refreshed = key; }
};

class ConfigurationTest : public ::testing::Test {
 protected:
  ConfigurationTest() {
    listener->Initialize(framework, owner, service);
    listener->SetName(u"Sums");
    listener->SetProgramIdentifier(kFormulaListenerIdentifier);
    listener->SetPosition(3);
    listener->SetKey(17);
  }
  ~ConfigurationTest() override { listener->Terminate(); }

  std::string Set(std::u16string_view data_type, std::string_view xml) {
    return Raised([&] { listener->SetData(data_type, ParseXml(FromUtf8(xml)).get()); });
  }

  // What is inside the element that an export writes, or all of it.
  std::string Exported(std::u16string_view mode) {
    const Ref<XmlElement> root = ParseXml(u"<r/>");
    const std::string raised = Raised([&] { listener->Export(*root, mode); });
    return raised + ToUtf8(root->Xml());
  }
  std::string Exported() {
    const std::string xml = Exported(u"");
    const std::size_t begin = xml.find("position=\"3\"") + 12;
    return xml.substr(begin, xml.rfind("</r>") - begin);
  }

  Ref<TestForm> form = MakeRef<TestForm>("table T\n 11 Mass number | 12 Name string");
  Ref<OwnerCollection> owner = form->OwnerOf(u"T");
  Ref<TestFramework> framework = MakeRef<TestFramework>();
  Ref<FakeService> service = MakeRef<FakeService>();
  Ref<FormulaListener> listener = MakeRef<FormulaListener>(std::span<const FunctionClass>());
};

TEST_F(ConfigurationTest, ReadsAndWritesElements) {
  const std::string refused = "raised -2147220991 FormulaListener.SetData: the property name ";
  ExpectRows(
      {
          " -> />",
          "<!-- note --> text <other key='1'/> -> />",
          "<propertyFormula format='%' key='11'><![CDATA[[a]<1]]></propertyFormula> -> "
          "><propertyFormula format=\"%\" key=\"11\"><![CDATA[[a]<1]]></propertyFormula>"
          "</fieldListener>",
          // By name; a key goes before a name. Text need not be CDATA, formats may be absent.
          "<propertyFormula name='Name'>1</propertyFormula>"
          "<propertyFormula key='11' name='None'>2</propertyFormula> -> "
          "><propertyFormula format=\"\" key=\"12\"><![CDATA[1]]></propertyFormula>"
          "<propertyFormula format=\"\" key=\"11\"><![CDATA[2]]></propertyFormula></fieldListener>",
          // Formulas come first; within each kind the order stays.
          "<definition name='z'>1</definition><propertyFormula key='12'>µ]]&gt;</propertyFormula>"
          "<definition name='a'>2</definition><propertyFormula key='11'/> -> "
          "><propertyFormula format=\"\" key=\"12\"><![CDATA[µ]]]]><![CDATA[>]]></propertyFormula>"
          "<propertyFormula format=\"\" key=\"11\"><![CDATA[]]></propertyFormula>"
          "<definition name=\"z\"><![CDATA[1]]></definition>"
          "<definition name=\"a\"><![CDATA[2]]></definition></fieldListener>",
          "<propertyFormula name='mass'>1</propertyFormula> -> " + refused +
              "\"mass\" is not recognized in the table \"T\"; />",
          "<propertyFormula>1</propertyFormula> -> " + refused +
              "\"\" is not recognized in the table \"T\"; />",
      },
      [&](const std::string& children) {
        std::string written;
        for (const std::u16string_view data_type : {u"xml", u"initialize", u"other"}) {
          Set(u"xml", "<fieldListener/>");
          const std::string raised =
              Set(data_type, "<fieldListener>" + children + "</fieldListener>");
          const std::string read = raised + Exported();
          EXPECT_TRUE(written.empty() || written == read) << read;
          written = read;
        }
        // What is written reads back to the same.
        const std::string exported = Exported();
        EXPECT_EQ(Set(u"", "<fieldListener" + exported), "");
        EXPECT_EQ(Exported(), exported);
        return written;
      });
}

TEST_F(ConfigurationTest, UnchangedFormulasKeepTheirTrees) {
  const std::string head =
      "<fieldListener><propertyFormula format='0' key='11'>1</propertyFormula>";
  const std::string tail = "<definition name='b'>2</definition></fieldListener>";
  Set(u"xml", head + "<propertyFormula key='12'>3</propertyFormula>" +
                  "<definition name='a'>1</definition>" + tail);
  const auto parse = [&] {
    const auto tree = listener->MakeTokenTree(u"1");
    for (const auto* formulas :
         {&listener->Configuration().property_formulas, &listener->Configuration().definitions}) {
      for (const auto& [key, formula] : formulas->Entries())
        formula->TokenTree = tree;
    }
  };
  // "11* 12 a* b*": the entries in order, those with a tree marked.
  const auto trees = [&] {
    std::string all;
    for (const auto* formulas :
         {&listener->Configuration().property_formulas, &listener->Configuration().definitions}) {
      for (const auto& [key, formula] : formulas->Entries())
        all += Narrow(key) + (formula->TokenTree ? "* " : " ");
    }
    return all;
  };
  const std::vector<std::pair<std::string, std::string>> rows = {
      {head + "<propertyFormula key='12'>3</propertyFormula><definition name='a'>1</definition>" +
           tail,
       "11* 12* a* b* "},
      // Changed in formula, in format, vanished, new.
      {head + "<propertyFormula key='12'>3 </propertyFormula><definition name='a'>9</definition>" +
           tail,
       "11* 12 b* a "},
      {"<fieldListener><propertyFormula format='0.0' key='11'>1</propertyFormula>"
       "<propertyFormula key='12'>3 </propertyFormula></fieldListener>",
       "12* 11 "},
      {head + tail, "11 b "},
      {"<fieldListener/>", ""},
  };
  for (const auto& [xml, expected] : rows) {
    parse();
    Set(u"initialize", xml);
    EXPECT_EQ(trees(), expected) << xml;
  }
  Set(u"xml", head + tail);
  parse();
  Set(u"", head + tail);
  EXPECT_EQ(trees(), "11 b ");
}

TEST_F(ConfigurationTest, FailingSetDataChangesNothing) {
  Set(u"xml", "<fieldListener><definition name='a'>1</definition></fieldListener>");
  const std::string before = Exported(u"");
  const std::string path = " FormulaListener.SetData/KtFormula9: ";
  EXPECT_EQ(Set(u"xml", "<fieldListener name='New' position='many'/>"),
            "raised 13" + path + "Type mismatch; ");
  EXPECT_EQ(Set(u"", "<fieldListener name='New' position='32768'/>"),
            "raised 6" + path + "Overflow; ");
  EXPECT_EQ(Set(u"",
                "<fieldListener name='New' position='7'><definition name='b'>1</definition>"
                "<propertyFormula name='?'/></fieldListener>"),
            "raised -2147220991 FormulaListener.SetData: the property name \"?\" is not recognized "
            "in the table \"T\"; ");
  EXPECT_EQ(Raised([&] { listener->SetData(u"xml", form.get()); }),
            "raised 13" + path + "Type mismatch; ");
  EXPECT_EQ(Exported(u""), before);
}

TEST_F(ConfigurationTest, AnswersAndRemovesFormulas) {
  EXPECT_FALSE(listener->FormulaOf(11).has_value());
  EXPECT_FALSE(listener->DefinitionOf(u"d").has_value());
  listener->SetPropertyFormula(11, u"1", u"0.0");
  listener->SetDefinition(u"d", u"2");
  EXPECT_EQ(listener->FormulaOf(11)->string_format, u"0.0");
  EXPECT_EQ(listener->DefinitionOf(u"d")->formula, u"2");
  listener->SetPropertyFormula(11, u"", u"");
  listener->SetDefinition(u"d", u"");
  EXPECT_FALSE(listener->FormulaOf(11).has_value());
  EXPECT_FALSE(listener->DefinitionOf(u"d").has_value());
  // An entry without a formula that was read stays as it is.
  Set(u"xml", "<fieldListener><propertyFormula key='11'/></fieldListener>");
  listener->SetPropertyFormula(11, u"", u"");
  EXPECT_TRUE(listener->FormulaOf(11).has_value());
}

TEST_F(ConfigurationTest, ExportNamesColumnsByKeyOrName) {
  listener->SetPropertyFormula(11, u"1", u"");
  const std::string content = "><![CDATA[1]]></propertyFormula></fieldListener></r>";
  const std::string head =
      "progID=\"KtFormula9.FormulaListener\" name=\"Sums\" position=\"3\"><propertyFormula "
      "format=\"\" ";
  EXPECT_EQ(Exported(u"export"), "<r><fieldListener " + head + "name=\"Mass\"" + content);
  EXPECT_EQ(Exported(u"Export"), "<r><fieldListener key=\"17\" " + head + "key=\"11\"" + content);
  // A column that is gone has no name to export.
  listener->SetPropertyFormula(99, u"1", u"");
  EXPECT_EQ(Exported(u"export"),
            "raised -2147220991 FormulaListener.IKtObject_Export: the property key \"99\" is not "
            "recognized in the table \"T\"; <r/>");
}

TEST_F(ConfigurationTest, ChangesOfSettingsClearSavedFlag) {
  struct Row {
    std::function<void()> change;
    bool saved;
  };
  const Row rows[] = {
      {[&] { listener->SetName(u"Sums"); }, true},
      {[&] { listener->SetName(u"sums"); }, false},
      {[&] { listener->SetProgramIdentifier(kFormulaListenerIdentifier); }, true},
      {[&] { listener->SetProgramIdentifier(u"Other"); }, false},
      {[&] { listener->SetPosition(3); }, true},
      {[&] { listener->SetPosition(4); }, false},
      {[&] { listener->SetKey(18); }, true},
      {[&] { Set(u"xml", "<fieldListener name='sums' position='4'/>"); }, true},
      {[&] { Set(u"xml", "<fieldListener position='5'/>"); }, false},
  };
  const auto target = MakeRef<FakeService>();
  for (const Row& row : rows) {
    listener->MarkStored(target.get());
    framework->calls.clear();
    row.change();
    EXPECT_EQ(listener->IsSaved(), row.saved);
    listener->Store(*target);
    EXPECT_EQ(framework->calls.size(), row.saved ? 0U : 1U);
  }
  EXPECT_EQ(framework->calls.back(), "store for Service");
}

TEST_F(ConfigurationTest, AnswersHost) {
  EXPECT_EQ(Narrow(listener->Description(0)),
            "Field Listener \"Sums\" of " + Narrow(owner->Description(0)));
  listener->RequestSave();
  EXPECT_EQ(framework->calls.back(), "save: Saving changes to Field Listener \"Sums\"");
  const std::string unresolved =
      "the type \"Unit\" cannot be resolved from " + Narrow(listener->Description(0)) + "; ";
  const auto without_source = [](const std::string& raised) {
    EXPECT_TRUE(raised.starts_with("raised -2147220991 FormulaListener.")) << raised;
    return raised.substr(raised.find(": ") + 2);
  };
  EXPECT_EQ(without_source(Raised([&] { listener->ResolveType(u"Unit", nullptr); })), unresolved);
  EXPECT_EQ(without_source(Raised([&] { listener->ResolveObject(nullptr, u"Unit"); })), unresolved);
  const auto root = ParseXml(u"<recalculate/>");
  EXPECT_EQ(without_source(Raised([&] { listener->Execute(*root, nullptr); })),
            "the command \"recalculate\" is not recognized for this table; ");
  listener->Refresh();
  EXPECT_EQ(service->refreshed, u"17");
  EXPECT_EQ(ToUtf8(listener->ReferenceElement(*root)->Xml()), "<fieldListener key=\"17\"/>");
}

TEST_F(ConfigurationTest, SendsItsStatementsToDatabase) {
  framework->database_helper = MakeRef<TestDatabaseHelper>();
  const auto database = MakeRef<TestDatabase>();
  listener->Create(form->FieldOf(u"T"), *database, u"O'Neil", u"Prog.ID", -2);
  EXPECT_EQ(database->sql,
            u"INSERT INTO ELN_field_listeners(field_listener_key, name, prog_ID, field_key, "
            u"position)VALUES(next(KtS_field_listeners), <O'Neil>, <Prog.ID>, 1, -2)");
  EXPECT_EQ(Raised([&] { listener->Save(*database); }),
            "raised 72 FormulaListener.IKtObject_Save/Database: closed; ");
  EXPECT_FALSE(listener->IsSaved());
}

class StoredConfigurationTest : public ConfigurationTest {
 protected:
  StoredConfigurationTest() {
    database->row = row;
    row->numbers = {{u"field_listener_key", 1}, {u"Position", 2}};
    row->texts = {{u"Name", u"O'Neil"}, {u"prog_id", kFormulaListenerIdentifier.data()}};
  }
  std::string Load(std::u16string_view data_type) {
    return Raised([&] { listener->SetData(data_type, row.get()); });
  }

  Ref<TestDatabase> database = MakeRef<TestDatabase>();
  Ref<TestRowSet> row = MakeRef<TestRowSet>();
};

TEST_F(StoredConfigurationTest, SavesIntoRowAndReadsItBack) {
  EXPECT_EQ(Load(u""), "");
  EXPECT_EQ(Exported(u""),
            "<r><fieldListener key=\"1\" progID=\"KtFormula9.FormulaListener\" name=\"O'Neil\" "
            "position=\"2\"/></r>");
  EXPECT_TRUE(listener->IsSaved());

  listener->Save(*database);
  EXPECT_EQ(ToUtf8(row->texts[u"config_xml"]), "<fieldListener/>");
  listener->SetPosition(4);
  listener->SetPropertyFormula(11, u"'\"<&>µ'", u"0.0");
  listener->SetDefinition(u"d", u"1");
  listener->Save(*database);
  EXPECT_TRUE(listener->IsSaved());
  EXPECT_EQ(row->updates, 2);
  EXPECT_EQ(database->sql, u"SELECT * FROM ELN_field_listeners WHERE field_listener_key = 1");
  EXPECT_EQ(ToUtf8(row->texts[u"config_xml"]),
            "<fieldListener><propertyFormula format=\"0.0\" key=\"11\"><![CDATA['\"<&>µ']]>"
            "</propertyFormula><definition name=\"d\"><![CDATA[1]]></definition></fieldListener>");
  const std::string saved = Exported(u"");
  Set(u"xml", "<fieldListener position='1' name='x'/>");
  EXPECT_EQ(Load(u""), "");
  EXPECT_EQ(Exported(u""), saved);
}

// A row that fails midway leaves the listener as it is.
TEST_F(StoredConfigurationTest, FailingRowChangesNothing) {
  Set(u"", "<fieldListener name='Old'><definition name='old'>1</definition></fieldListener>");
  const std::string before = Exported(u"");
  const std::u16string readable = u"<fieldListener><definition name='new'/></fieldListener>";
  struct Row {
    std::u16string broken_column;
    std::int32_t position;
    std::u16string config_xml;
    std::string raised;
  };
  const Row rows[] = {
      {u"field_listener_key", 2, readable, "raised 73 FormulaListener.SetData/Recordset: "},
      {u"Name", 2, readable, "raised 73 FormulaListener.SetData/Recordset: "},
      {u"prog_id", 2, readable, "raised 73 FormulaListener.SetData/Recordset: "},
      {u"Position", 2, readable, "raised 73 FormulaListener.SetData/Recordset: "},
      {u"config_xml", 2, readable, "raised 73 FormulaListener.SetData/Recordset: "},
      {u"", 32768, readable, "raised 6 FormulaListener.SetData/KtFormula9: "},
      {u"", -32769, readable, "raised 6 FormulaListener.SetData/KtFormula9: "},
      {u"", 2, u"<a", "raised -2147220991 FormulaListener.SetData/DOMDocument.LoadText: "},
      {u"", 2, u"<a><propertyFormula name='?'/></a>",
       "raised -2147220991 FormulaListener.SetData: the property name \"?\" "},
  };
  for (const Row& broken : rows) {
    row->broken_column = broken.broken_column;
    row->numbers[u"Position"] = broken.position;
    row->texts[u"config_xml"] = broken.config_xml;
    const std::string raised = Load(u"");
    EXPECT_TRUE(raised.starts_with(broken.raised)) << raised;
    EXPECT_EQ(Exported(u""), before) << raised;
    EXPECT_FALSE(listener->IsSaved());
  }
}

// These types announce an element, and not every row is one of a record set.
TEST_F(StoredConfigurationTest, RowUnderAnotherTypeIsRefused) {
  const std::string before = Exported(u"");
  for (const std::u16string_view data_type : {u"xml", u"initialize"}) {
    EXPECT_EQ(Load(data_type), "raised 13 FormulaListener.SetData/KtFormula9: Type mismatch; ");
    EXPECT_EQ(Exported(u""), before);
  }
  row->type_name = u"Rows";
  EXPECT_EQ(Load(u""), "raised 13 FormulaListener.SetData/KtFormula9: Type mismatch; ");
  EXPECT_EQ(Exported(u""), before);
}

TEST_F(ConfigurationTest, OwnsFunctionsFromInitializeToTerminate) {
  std::string ended;
  NamedValues* told = nullptr;
  const auto function_class = [&](std::u16string_view key) {
    return FunctionClass{key, [&ended, key] {
                           return std::make_unique<FakeFunction>(
                               [](auto&&...) {}, [&ended, key] { ended += Narrow(key) + " "; });
                         }};
  };
  const std::vector<FunctionClass> classes = {function_class(u"SUM"), function_class(u"AVG")};
  const auto owner_of_functions = MakeRef<FormulaListener>(classes);
  owner_of_functions->Initialize(framework, owner, nullptr);
  told = static_cast<FakeFunction&>(*owner_of_functions->FormulaFunction(u"avg")).listener;
  EXPECT_EQ(told, owner_of_functions.get());
  owner_of_functions->SetPropertyFormula(11, u"SUM()", u"");
  owner_of_functions->Terminate();
  owner_of_functions->Terminate();
  EXPECT_EQ(ended, "SUM AVG ");
  EXPECT_EQ(owner_of_functions->Configuration().property_formulas.Entries().size(), 0U);

  // The host's objects go first.
  struct LeavingFramework final : TestFramework {
    explicit LeavingFramework(std::string& told) : log(told) {}
    ~LeavingFramework() override { log += "host "; }
    std::string& log;
  };
  ended.clear();
  owner_of_functions->Initialize(MakeRef<LeavingFramework>(ended), owner, nullptr);
  owner_of_functions->Terminate();
  EXPECT_EQ(ended, "host SUM AVG ");

  // A second Initialize finds the names in use; the listener keeps what it has.
  ended.clear();
  owner_of_functions->Initialize(framework, owner, nullptr);
  const auto before = owner_of_functions->FormulaFunction(u"SUM");
  const std::string in_use =
      "raised 457 FormulaListener.IKtFieldListener_Initialize/KtFormula9: This key is already "
      "associated with an element of this collection; ";
  EXPECT_EQ(Raised([&] { owner_of_functions->Initialize(nullptr, nullptr, nullptr); }), in_use);
  EXPECT_EQ(owner_of_functions->FormulaFunction(u"SUM"), before);
  EXPECT_EQ(Narrow(owner_of_functions->Description(0)),
            "Field Listener \"\" of table \"T\" of form \"F\"");
  EXPECT_EQ(ended, "");
  owner_of_functions->Terminate();

  // Two classes under one name: what was registered before is ended.
  ended.clear();
  const std::vector<FunctionClass> twice = {function_class(u"SUM"), function_class(u"SUM")};
  const auto never_ready = MakeRef<FormulaListener>(twice);
  EXPECT_EQ(Raised([&] { never_ready->Initialize(framework, owner, nullptr); }), in_use);
  EXPECT_EQ(ended, "SUM ");
  EXPECT_TRUE(never_ready->FormulaFunctions().Find(u"SUM") == nullptr);
}

// A host's dictionary of functions.
class HostDictionary final : public FunctionDictionary {
 public:
  explicit HostDictionary(std::string& log) : log_(log) {}
  void Add(std::u16string_view key, std::shared_ptr<IKtFormulaFunction> function) override {
    log_ += "add " + Narrow(key) + "; ";
    functions_.push_back(std::move(function));
  }
  void Remove(std::u16string_view) override {}
  std::shared_ptr<IKtFormulaFunction> Find(std::u16string_view) const override {
    return functions_.front();
  }
  std::vector<std::shared_ptr<IKtFormulaFunction>> Items() const override { return functions_; }
  void Clear() override { log_ += "clear; "; }

 private:
  std::string& log_;
  std::vector<std::shared_ptr<IKtFormulaFunction>> functions_;
};

TEST_F(ConfigurationTest, KeepsFunctionsInTheHostsDictionary) {
  std::string log;
  const std::vector<FunctionClass> classes = {
      {u"SUM", [] { return std::make_unique<FakeFunction>(); }}};
  const auto owner_of_functions =
      MakeRef<FormulaListener>(classes, FunctionRegistry(std::make_unique<HostDictionary>(log)));
  owner_of_functions->Initialize(framework, owner, nullptr);
  EXPECT_NE(owner_of_functions->FormulaFunction(u"whatever"), nullptr);
  owner_of_functions->Terminate();
  EXPECT_EQ(log, "add SUM; clear; ");
}

// Nobody can keep a listener that is being destroyed.
TEST_F(ConfigurationTest, AListenerThatEndsIsKeptByNobody) {
  std::string kept;
  FormulaListener* ending = nullptr;
  const std::vector<FunctionClass> classes = {
      {u"SUM", [&] {
         return std::make_unique<FakeFunction>(
             [](auto&&...) {}, [&] { kept += ending->KeepAlive() ? "kept; " : "gone; "; });
       }}};
  for (const bool terminate_first : {true, false}) {
    auto owner_of_functions = MakeRef<FormulaListener>(classes);
    ending = owner_of_functions.get();
    owner_of_functions->Initialize(framework, owner, nullptr);
    if (terminate_first) owner_of_functions->Terminate();
    owner_of_functions = nullptr;
  }
  EXPECT_EQ(kept, "kept; gone; ");
}

}  // namespace
}  // namespace ktformula
