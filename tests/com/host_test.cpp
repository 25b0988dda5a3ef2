// The notebook as a host in COM: its objects as COM objects, foreign listeners as its own, and XML
// between the two. Runs on Windows.
#include <array>
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "script_object.h"

#include "com/base/dictionary.h"
#include "com/base/host_pointer.h"
#include "com/base/module.h"
#include "com/host/database_adapters.h"
#include "com/host/foreign.h"
#include "com/host/listener_adapters.h"
#include "com/host/notebook_adapters.h"
#include "com/host/xml_adapters.h"
#include "com/notebook/component_session.h"
#include "formats/formula_format.h"
#include "notebook/files/framework.h"
#include "notebook/files/xml_document.h"
#include "notebook/store/database.h"
#include "notebook/tables/model.h"
#include "notebook/tables/table_control.h"
#include "values/leak_check.h"
#include "values/platform.h"
#include "values/raised_error.h"

namespace ktcom {
namespace {

using ktformula::MakeRef;
using ktformula::RaisedError;
using namespace std::string_view_literals;

// Smart pointers compare only whether they hold something.
bool IsSame(const ComPtr<IDispatch>& left, const ComPtr<IDispatch>& right) {
  return left.Get() == right.Get();
}

std::u16string ErrorOf(const std::function<void()>& body) {
  try {
    body();
  } catch (const RaisedError& error) {
    return Variant(error.Number()).Text() + u"|" + error.Source() + u"|" + error.Description();
  }
  return {};
}

// A form with the table T, its numeric columns A and B, and two rows.
class HostTest : public ::testing::Test {
 protected:
  HostTest() {
    for (const char16_t* name : {u"A", u"B"}) {
      ktnotebook::PropertyDefinition definition;
      definition.key = ++last_key;
      definition.name = name;
      definition.type = ktnotebook::DataType::kNumber;
      table->AddColumn(std::move(definition));
    }
    table->AddRow(u"one");
    table->AddRow(u"two");
  }

  Ref<ktnotebook::CellObject> Cell(std::size_t row = 1, std::size_t column = 0) const {
    return table->Rows()[row].CellAt(column).Object();
  }

  std::int32_t last_key = 0;
  Ref<ktnotebook::NotebookFramework> framework = MakeRef<ktnotebook::NotebookFramework>();
  Ref<ktnotebook::NotebookForm> form =
      MakeRef<ktnotebook::NotebookForm>(u"F", framework->OwnUnits());
  ktnotebook::NotebookTable* table = form->AddTable(u"T", 7);
};

// Whatever the system's own settings are.
TEST(Values, AreConvertedAsTheUserWritesNumbers) {
  ktformula::SetUserLocale({u',', u'.'});
  EXPECT_EQ(Variant(1002.5).Text(), u"1002,5");
  EXPECT_EQ(Variant(u"1.002,5"sv).Number(), 1002.5);
  ktformula::SetUserLocale({});
}

// A host changes them behind the component's back.
TEST_F(HostTest, DictionariesAreAskedEachTime) {
  ScriptingDictionary own;
  ScriptingDictionary hosts(own.Dispatch());
  EXPECT_FALSE(own.Exists(u"a"));
  hosts.Add(u"a", Variant(1));
  EXPECT_TRUE(own.Exists(u"a"));
  EXPECT_FALSE(own.Exists(u"A"));
  hosts.RemoveAll();
  EXPECT_FALSE(own.Exists(u"a"));
}

// Each thread frees what another has made; no block may be handed out twice, nor be too small.
TEST(SmallMemory, BelongsToOneOwner) {
  constexpr std::size_t kThreads = 4;
  std::atomic<int> damaged = 0;
  std::array<std::atomic<std::string*>, 64> shared{};
  std::vector<std::thread> threads;
  for (std::size_t number = 0; number < kThreads; ++number) {
    threads.emplace_back([&, number] {
      for (std::size_t i = 0; i < 50'000; ++i) {
        const std::size_t length = (i * 7 + number) % 160;
        auto* const made = new std::string(length, static_cast<char>('a' + length % 26));
        const std::string* const found = shared[i % shared.size()].exchange(made);
        if (found == nullptr) continue;
        if (*found != std::string(found->size(), static_cast<char>('a' + found->size() % 26)))
          ++damaged;
        delete found;
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  for (const auto& left : shared)
    delete left.load();
  EXPECT_EQ(damaged, 0);
}

TEST_F(HostTest, OneObjectIsOneComObject) {
  const ComPtr<IDispatch> held = ToDispatch(*table);
  const ForeignTable foreign{HostPointer<IKtTable>(held.Get())};
  EXPECT_EQ(foreign.RowCount(), 2);
  const Ref<ktformula::TableRow> row = foreign.Row(2);
  EXPECT_TRUE(IsSame(ToDispatch(*row->OwningTable()), held));
  EXPECT_TRUE(IsSameObject(row->Cell(*foreign.Column(1)).get(), foreign.Column(1)->Cell(2).get()));
  EXPECT_EQ(row->Tag(u"ID"), u"two");
  // The same by name, as scripts ask.
  EXPECT_EQ(InvokeByName(*held.Get(), u"rowcount", {}).Integer(), 2);
  EXPECT_TRUE(IsSame(InvokeByName(*held.Get(), u"Row", Variants(2)).Object(), ToDispatch(*row)));
  EXPECT_EQ(InvokeByName(*ToDispatch(*form).Get(), u"TypeName", {}).Text(), u"Form");
}

TEST_F(HostTest, ReferencesResolveThroughComObjects) {
  const Ref<ktformula::NotebookObject> cell = AdaptNotebookObject(ToDispatch(*Cell()).Get());
  struct {
    std::vector<std::u16string> parts;
    Ref<ktformula::NotebookObject> expected;
  } const rows[] = {{{u"B"}, table->Columns()[1]},
                    {{u"parent"}, table->Rows()[1].Object()},
                    {{u"parent", u"parent", u"A", u"one"}, Cell(0, 0)},
                    {{u"Parent", u"B"}, Cell(1, 1)},
                    {{u"no such"}, nullptr}};
  for (const auto& [parts, expected] : rows) {
    const Ref<ktformula::NotebookObject> found = cell->ResolveRelative(parts);
    EXPECT_TRUE(IsSame(ToDispatch(found.get()), ToDispatch(expected.get()))) << parts.size();
  }
  const Ref<ktformula::NotebookObject> holder = cell->Scope()->FindHolder(u"T");
  EXPECT_TRUE(IsSame(ToDispatch(cell->Scope()->ValueObject(*holder).get()), ToDispatch(*table)));
}

TEST_F(HostTest, ArgumentsComeBackAsTheVeryObjects) {
  const ComPtr<IDispatch> grid = ToDispatch(*table->Control());
  ForeignGridControl foreign{HostPointer<IKtGridControl>(grid.Get())};
  foreign.SetValue(*AdaptRequired<ForeignTableCell>(ToDispatch(*Cell()).Get()), 2.5, u"0.00", u"");
  EXPECT_EQ(Cell()->Text(), u"2.50");
  const ComPtr<IDispatch> script = ScriptObject::Make({});
  const struct {
    std::function<void()> call;
    std::u16string number;
  } rows[] = {
      {[&] { foreign.FinishCell(*AdaptRequired<ForeignTableCell>(script.Get())); }, u"13|"},
      {[&] { foreign.FinishCell(*AdaptRequired<ForeignTableCell>(grid.Get())); }, u"13|"},
      {[&] {
         InvokeByName(*grid.Get(), u"FinishCell", Variants(static_cast<IDispatch*>(nullptr)));
       },
       u"91|"},
      {[&] { Adapt<ForeignTable>(ToDispatch(*table).Get())->Row(3); }, u"9|"},
      {[&] { Adapt<ForeignTable>(ToDispatch(*table).Get())->Column(0); }, u"9|"},
  };
  for (const auto& [call, number] : rows)
    EXPECT_TRUE(ErrorOf(call).starts_with(number)) << Wide(ErrorOf(call).c_str());
}

TEST_F(HostTest, RowsAndErrorsOfTheDatabaseCross) {
  const auto database = ktnotebook::OpenDatabase(":memory:", true);
  const Ref<ktformula::DatabaseAccess> own = ktnotebook::MakeDatabaseAccess(database);
  ForeignDatabaseAccess foreign{HostPointer<IKtDatabaseAccess>(ToDispatch(*own).Get())};
  foreign.Execute(u"CREATE TABLE t(k INTEGER, s TEXT, n INTEGER)");
  foreign.Execute(u"INSERT INTO t VALUES(7, 'µ', NULL)");
  const auto open = [&] { return foreign.OpenRow(u"SELECT * FROM t WHERE k = 7"); };
  const Ref<ktformula::RowSet> row = open();
  EXPECT_EQ(row->TypeName(), u"Recordset");
  EXPECT_EQ(row->IntegerField(u"K"), 7);
  EXPECT_EQ(row->TextField(u"s"), u"µ");
  EXPECT_EQ(row->TextField(u"n"), u"");
  EXPECT_EQ(row->IntegerField(u"n"), 0);
  row->SetTextField(u"s", u"<12>");
  row->SetIntegerField(u"n", -3);
  row->Update();
  EXPECT_EQ(open()->TextField(u"S"), u"<12>");
  EXPECT_EQ(open()->IntegerField(u"N"), -3);
  for (const char16_t* sql :
       {u"SELECT * FROM t WHERE k = 8", u"SELECT", u"SELECT * FROM x WHERE 1"}) {
    const std::u16string expected = ErrorOf([&] { own->OpenRow(sql); });
    EXPECT_EQ(ErrorOf([&] { foreign.OpenRow(sql); }), expected);
    EXPECT_NE(expected, u"");
  }
  EXPECT_EQ(ErrorOf([&] { row->TextField(u"z"); }),
            ErrorOf([&] { own->OpenRow(u"SELECT * FROM t WHERE k = 7")->TextField(u"z"); }));
}

TEST_F(HostTest, ScriptsCanBeResultFormats) {
  std::vector<std::u16string> calls;
  std::vector<ComPtr<IDispatch>> dictionaries;
  const ComPtr<IDispatch> script = ScriptObject::Make({
      {u"Initialize",
       [&](const auto& arguments) {
         EXPECT_TRUE(IsSame(arguments[0].Object(), ToDispatch(*framework)));
         EXPECT_TRUE(IsSame(arguments[2].Object(), nullptr));
         calls.push_back(u"Initialize");
       }},
      {u"SetGridCellValue",
       [&](const auto& arguments) {
         EXPECT_TRUE(IsSame(arguments[0].Object(), ToDispatch(*table->Control())));
         EXPECT_TRUE(IsSame(arguments[1].Object(), ToDispatch(*Cell())));
         dictionaries.push_back(arguments[5].Object());
         calls.push_back(arguments[2].Text() + arguments[3].Text() + arguments[4].Text() +
                         ScriptingDictionary(dictionaries.back()).Item(u"mass").Text());
       }},
      {u"Terminate", [&](const auto&) { calls.push_back(u"Terminate"); }},
  });
  ktformula::ExaminedUnitsMap units;
  units.Add(u"mass", u"g");
  {
    const Ref<ktformula::IKtFieldListener> listener = AdaptListener(script.Get());
    auto* const format = dynamic_cast<ktformula::IKtFormulaFormat*>(listener.get());
    ASSERT_NE(format, nullptr);
    listener->Initialize(framework, form->OwnerOf(table->OwnField()), nullptr);
    const auto write = [&] {
      format->SetGridCellValue(*table->Control(), *Cell(), 0.5, u"%", 3, units);
    };
    write();
    write();
    units = {};
    units.Add(u"mass", u"kg");
    write();
  }
  EXPECT_EQ(calls, (std::vector<std::u16string>{u"Initialize", u"0.5%3g", u"0.5%3g", u"0.5%3kg",
                                                u"Terminate"}));
  EXPECT_TRUE(IsSame(dictionaries[0], dictionaries[1]));
  EXPECT_FALSE(IsSame(dictionaries[1], dictionaries[2]));

  EXPECT_FALSE(AdaptListener(ScriptObject::Make({}).Get()));
  EXPECT_FALSE(AdaptListener(nullptr));
}

TEST_F(HostTest, XmlCrossesToTheLetter) {
  const std::u16string_view rows[] = {
      u"<a/>",
      u"<a b=\"&lt;&amp;&quot;\" c=\"\"> x &lt;&amp; </a>",
      u"<a> <![CDATA[ [x] < 1\n]]> \n\t</a>",
      u"<a><![CDATA[1]]>&#13;<![CDATA[\n2]]>&#13;</a>",
      u"<a><![CDATA[]]]]><![CDATA[>µ\U0001D518]]></a>",
  };
  for (const std::u16string_view row : rows) {
    const auto document = MakeRef<ktnotebook::NotebookXmlDocument>();
    document->LoadText(row);
    const Ref<ktformula::XmlNode> crossed = AdaptXmlNode(ElementOrCopy(*document->Root()).Get());
    auto& element = dynamic_cast<ktformula::XmlElement&>(*crossed);
    EXPECT_EQ(element.Text(), document->Root()->Text());
    document->LoadText(element.Xml());
    EXPECT_EQ(element.Text(), document->Root()->Text());
    EXPECT_EQ(element.Xml(), document->Root()->Xml());
  }
  const Ref<ktformula::XmlElement> created = NewXmlDocument()->CreateElement(u"f");
  created->SetAttribute(u"k", u"\"<\r\n\t");
  created->AppendCData(u"a\r]]>\r\n");
  EXPECT_EQ(created->Xml(),
            u"<f k=\"&quot;&lt;&#13;&#10;&#9;\"><![CDATA[a]]>&#13;<![CDATA[]]]]><![CDATA[>]]>&#13;"
            u"<![CDATA[\n]]></f>");
}

}  // namespace
}  // namespace ktcom

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  const ktcom::ComponentSession session;
  const int result = RUN_ALL_TESTS();
  // COM objects hold the native ones: neither may be left.
  const bool leaks = ktcom::IsModuleInUse() || !ktformula::KtLeakCheck::Report().empty();
  if (leaks) std::cerr << "objects left alive\n" << ktformula::KtLeakCheck::Report();
  return leaks ? 1 : result;
}
