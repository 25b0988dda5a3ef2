// Recalculation: what is written into which cell, and what is left alone.
#include <gtest/gtest.h>

#include "formula/fake_function.h"
#include "functions/function_table.h"
#include "listener/formula_listener.h"
#include "test_host/framework.h"
#include "test_host/notebook.h"
#include "values/describe.h"
#include "values/text.h"

namespace ktformula {
namespace {

// A form with the table T, whose listener is made here with the functions of a test.
class RecalculationTest : public ::testing::Test {
 protected:
  ~RecalculationTest() override {
    if (listener) listener->Terminate();
  }

  // `table` is what stands below the table's name. X, key 1, is the column that the tests are
  // about.
  void Load(const std::string& table) {
    if (listener) listener->Terminate();
    form = MakeRef<TestForm>("table T\n" + table);
    T = &form->TableOf(u"T");
    grid = form->grid.get();
    listener = MakeRef<FormulaListener>(functions);
    listener->Initialize(framework, form->OwnerOf(u"T"), nullptr);
  }
  void Notify() { listener->TableNotification(*form->Notification(), nullptr); }
  std::string Texts(std::u16string_view column) const { return T->Texts(column); }

  Ref<TestFramework> framework = MakeRef<TestFramework>();
  std::vector<FunctionClass> functions{StandardFunctions().begin(), StandardFunctions().end()};
  Ref<TestForm> form;
  TestTable* T = nullptr;
  TestGrid* grid = nullptr;
  Ref<FormulaListener> listener;
  // What a function of a test changes a formula to.
  std::u16string next;
};

TEST_F(RecalculationTest, WritesResultByItsKind) {
  const std::string sources =
      " | 2 Mass number g | 3 Date date | 4 Mol structure | 5 NaN number\n"
      "| 5 mg | 2024-03-01 | CCO | n.d.";
  const std::string number = "1 X number";
  const std::string formatted = "1 X number formatted";
  const std::string mass = "1 X number g formatted";
  struct Row {
    std::string x;
    std::string_view formula;
    std::string written;
  };
  const std::string kHuge = "1" + std::string(306, '0');
  const Row rows[] = {
      {number, "[Mass]*2", "write 1E-05 as value; "},
      {number, "1/3", "write 0.333333333333333 as value; "},
      {number, "1=1", "write true as value; "},
      {number, "[Date]", "write 2024-03-01 as value; "},
      {number, "[Mol]", "write CCO; "},
      {number, "'abc'", "write abc; "},
      {number, "2 +/- 1", "write #Error: the symbol \"+/-\" is not a valid token; "},
      {number, "1 + x", "write #Error: the string \"x\" is not recognized; "},
      {number, "1 +", "write #Error: Subscript out of range; "},
      {number, "(1", "write #Error: the specified formula has an unbalanced left parenthesis; "},
      {number, "1/0", "write #Error: Division by zero; "},
      {number, "[NaN]", "write #Error: the value \"n.d.\" is not a number; "},
      {number, "SUM(1/0, [T])", "write #Error: Overflow; "},
      // With number formatting everything but errors and strings is shown as a number.
      {formatted, "1/3", "show 0.3333; "},
      {formatted, "'a'='a'", "show 0.000; "},
      {formatted, "[Mol]", "show 0.000; "},
      {formatted, "'abc'", "write abc; "},
      {formatted, "2 +/- 1", "write #Error: the symbol \"+/-\" is not a valid token; "},
      {formatted, "[NaN]", "write #Error: the value \"n.d.\" is not a number; "},
      {mass, "[Mass]*2", "show 0.01000 g; "},
      {mass, kHuge, "write #Error: Overflow; "},
  };
  for (const Row& row : rows) {
    Load(row.x + sources);
    listener->SetPropertyFormula(1, Widen(row.formula), u"");
    Notify();
    EXPECT_EQ(grid->log, row.written + "finish. ") << row.formula;
  }
}

TEST_F(RecalculationTest, ClearsNumberBeforeStringOnly) {
  const std::pair<std::string, std::string> rows[] = {
      {"7", "clear; write seven; finish. "},
      {"n.d.", "clear; write seven; finish. "},
      {"", "write seven; finish. "},
      // One bound that is not 0 is enough.
      {"1 +/- 1", "clear; write seven; finish. "},
      {"-1 +/- 1", "clear; write seven; finish. "},
  };
  for (const auto& [text, written] : rows) {
    Load("1 X number\n" + text + "|");
    listener->SetPropertyFormula(1, u"'seven'", u"");
    Notify();
    EXPECT_EQ(grid->log, written) << text;
    grid->log.clear();
    listener->SetPropertyFormula(1, u"8", u"");
    Notify();
    EXPECT_EQ(grid->log, "write 8 as value; finish. ");
  }
}

TEST_F(RecalculationTest, KeepsEnteredCellsAndForeignColumns) {
  Load(R"(
      9 Bad string | 1 X number | 3 Empty number | 4 None number
                   | entered 5  | 3              |
                   | 5          |                |
                   | noted 5    |                |
                   |            |                | 4)");
  T->CellAt(u"X", 2).state = u"Entered";
  listener->SetData(u"xml", ParseXml(u"<fieldListener><propertyFormula key='9'>(</propertyFormula>"
                                     u"<propertyFormula key='1'>6</propertyFormula>"
                                     u"<propertyFormula key='3'/></fieldListener>")
                                .get());
  Notify();
  EXPECT_EQ(Texts(u"X"), "5|6|6|6");
  EXPECT_EQ(Texts(u"Empty"), "3|||");
  EXPECT_EQ(Texts(u"None"), "|||4");
  const std::string error = "#Error: the specified formula has an unbalanced left parenthesis";
  EXPECT_EQ(Texts(u"Bad"), error + "|" + error + "|" + error + "|" + error);
}

TEST_F(RecalculationTest, ShowsDigitsAndUnitsThatWereEntered) {
  Load(
      "1 X number g formatted | 2 M number kg    | 3 V number ml formatted\n"
      "                       | entered 12.0 mg  |");
  listener->SetPropertyFormula(1, u"[M]/3", u"");
  listener->SetPropertyFormula(3, u"[M]/3000", u"0.0");
  Notify();
  EXPECT_EQ(Texts(u"X"), "4.00 mg");
  EXPECT_EQ(Texts(u"V"), "4.0 \u00b5l");
}

TEST_F(RecalculationTest, AFieldThatIsNoTableHasNothingToRecalculate) {
  form = MakeRef<TestForm>("text Remark = first run");
  listener = MakeRef<FormulaListener>(functions);
  listener->Initialize(framework, form->OwnerOf(u"Remark"), nullptr);
  listener->SetPropertyFormula(1, u"1", u"");
  Notify();
  EXPECT_EQ(form->grid->log, "");
}

// What a definition is worth: evaluated for the table, once in a pass, and never raising.
TEST_F(RecalculationTest, EvaluatesDefinitionsOncePerPass) {
  int calls = 0;
  NotebookObject* context = nullptr;
  functions = {{u"CALLS", [&] {
                  return std::make_unique<FakeFunction>(
                      [&](const TokenLayer*, NotebookObject* anchor, CellValue& target) {
                        context = anchor;
                        ++calls;
                        target.SetNumber(calls, calls);
                      });
                }}};
  Load("1 X number\n|\n|");
  const auto shown = [&](std::u16string_view formula) {
    listener->SetPropertyFormula(1, formula, u"");
    Notify();
    return Texts(u"X");
  };
  listener->SetDefinition(u"calls", u"CALLS()");
  EXPECT_EQ(shown(u"[calls] + [calls]"), "2|2");
  EXPECT_EQ(context, T);
  EXPECT_EQ(shown(u"[calls]"), "2|2");
  EXPECT_EQ(shown(u"calls()"), "3|4");
  EXPECT_EQ(context, &T->CellAt(u"X", 2));

  const std::string unknown =
      "#Error: the object of type \"Nothing\" can not be converted into a value";
  EXPECT_EQ(shown(u"[nowhere]"), unknown + "|" + unknown);
  listener->SetDefinition(u"bad", u"1 + x");
  EXPECT_EQ(shown(u"1 + [bad]"),
            "#Error: the string \"x\" is not recognized|#Error: the string "
            "\"x\" is not recognized");
}

TEST_F(RecalculationTest, DefinitionsOutsidePassHaveNoTable) {
  Load("1 X number\n|");
  listener->SetDefinition(u"two", u"1 + [one]");
  listener->SetDefinition(u"one", u"1");
  listener->SetDefinition(u"of table", u"[X]");
  listener->SetDefinition(u"self", u"[self]");
  const auto defined = [&](std::u16string_view name) {
    const std::shared_ptr<CellValue> value = listener->DefinedValue(name);
    return value == nullptr ? "none" : Describe(*value);
  };
  EXPECT_EQ(defined(u"two"), "2");
  EXPECT_EQ(defined(u"of table"),
            "E-2147220991 CellValue.ReferenceValue: the object of type \"Nothing\" can not be "
            "converted into a value");
  EXPECT_EQ(defined(u"self"),
            "E-2147220991 FormulaListener.DefinedValue: the definition \"self\" refers to itself");
  EXPECT_EQ(defined(u"X"), "none");
  listener->Terminate();
  EXPECT_EQ(defined(u"one"), "none");
}

TEST_F(RecalculationTest, DefinitionsInRingsAreErrorValues) {
  Load("1 X string\n|");
  listener->SetDefinition(u"self", u"1 + [self]");
  listener->SetDefinition(u"a", u"[b]");
  listener->SetDefinition(u"b", u"[c] + 1");
  listener->SetDefinition(u"c", u"2 * [a]");
  listener->SetPropertyFormula(1, u"[self]", u"");
  Notify();
  EXPECT_EQ(Texts(u"X"), "#Error: the definition \"self\" refers to itself");
  listener->SetPropertyFormula(1, u"[b]", u"");
  Notify();
  EXPECT_EQ(Texts(u"X"), "#Error: the definition \"b\" refers to itself");
}

// Whatever is asked for first: the whole chain at once, or piece by piece.
TEST_F(RecalculationTest, ChainsOfDefinitionsMayBeLong) {
  constexpr int kLength = 10'000;
  for (const auto& [first, second] :
       {std::pair{kLength, 1}, {1, kLength}, {kLength / 2, kLength}}) {
    Load("1 X number | 2 Y number\n|");
    listener->SetDefinition(u"0", u"7");
    for (int i = 1; i <= kLength; ++i)
      listener->SetDefinition(ToDecimalText(i), u"1 + [" + ToDecimalText(i - 1) + u"]");
    listener->SetPropertyFormula(1, u"[" + ToDecimalText(first) + u"]", u"");
    listener->SetPropertyFormula(2, u"[" + ToDecimalText(second) + u"]", u"");
    Notify();
    EXPECT_EQ(Texts(u"X"), std::to_string(first + 7));
    EXPECT_EQ(Texts(u"Y"), std::to_string(second + 7));
  }
}

// A long ring is the same as a short one, with or without a way out of it.
TEST_F(RecalculationTest, LongRingsOfDefinitionsAreErrorValues) {
  constexpr int kLength = 1'000;
  Load("1 X string\n|");
  for (int i = 0; i < kLength; ++i)
    listener->SetDefinition(ToDecimalText(i), u"1 + [" + ToDecimalText((i + 1) % kLength) + u"]");
  listener->SetPropertyFormula(1, u"[300]", u"");
  Notify();
  EXPECT_EQ(Texts(u"X"), "#Error: the definition \"300\" refers to itself");
  listener->SetDefinition(u"299", u"ONERROR([300], 5)");
  listener->SetPropertyFormula(1, u"[298]", u"");
  Notify();
  EXPECT_EQ(Texts(u"X"), "6");
}

// A formula that evaluates the other one so deep that no two of these go within one another, and is
// false.
std::u16string Nested(std::u16string formula) {
  for (int depth = 0; depth < 200; ++depth)
    formula = u"1=2 OR 1=1 AND 1=1+1*1!(" + formula + u")";
  return formula;
}

// What the depth of one evaluation forbids is another's to have.
TEST_F(RecalculationTest, RefusedEvaluationLeavesNoValueBehind) {
  Load("1 X number | 2 Y number | 3 Z number\n| |");
  listener->SetDefinition(u"deep", Nested(u"5"));
  listener->SetDefinition(u"caught", u"ONERROR([deep], 6)");
  listener->SetPropertyFormula(1, Nested(u"[deep]"), u"");
  listener->SetPropertyFormula(2, Nested(u"[caught]"), u"");
  listener->SetPropertyFormula(3, u"IF([deep] = [caught], 1, 2)", u"");
  Notify();
  EXPECT_EQ(Texts(u"X"), "#Error: the formula is nested too deeply");
  EXPECT_EQ(Texts(u"Z"), "1");
}

// What a refused definition made of an aggregate is no other evaluation's either.
TEST_F(RecalculationTest, RefusedEvaluationLeavesNoAggregateBehind) {
  Load("1 X number\n|\n|");
  listener->SetDefinition(u"deep", Nested(u"5"));
  listener->SetDefinition(u"refused",
                          u"IF(ONERROR([deep], 6) = 6, 0, 0)"
                          u" + COUNT([T], ONERROR([deep], 6) = 6)");
  listener->SetPropertyFormula(1, u"SUM(IF(" + Nested(u"[refused]") + u", 1, [refused]), [T])",
                               u"");
  Notify();
  EXPECT_EQ(Texts(u"X"), "0|0");
}

// Not in proportion to the square of their number, which would take minutes.
TEST_F(RecalculationTest, ManyDefinitionsTakeNoLongerEach) {
  constexpr int kCount = 60'000;
  Load("1 X number\n|");
  std::u16string formula = u"0";
  for (int i = 0; i < kCount; ++i) {
    listener->SetDefinition(ToDecimalText(i), u"1");
    formula += u"+[" + ToDecimalText(i) + u"]";
  }
  listener->SetPropertyFormula(1, formula, u"");
  Notify();
  EXPECT_EQ(Texts(u"X"), std::to_string(kCount));
}

// A host's functions lead from an aggregate of one listener, or from a definition, into the other
// listener and back: what is under way in each stays its own.
class ListenersInEachOtherTest : public RecalculationTest {
 protected:
  ~ListenersInEachOtherTest() override {
    if (other) other->Terminate();
  }
  static FunctionClass Function(std::u16string_view name, FakeFunction::Body body) {
    return {name, [body] { return std::make_unique<FakeFunction>(body); }};
  }
  void LoadBoth() {
    functions.push_back(Function(u"THERE", [this](auto&&...) { there(); }));
    functions.push_back(
        Function(u"HERE", [this](const TokenLayer*, NotebookObject*, CellValue& target) {
          target.CopyFrom(*listener->DefinedValue(u"0"));
        }));
    Load("1 X number\n|\n|\ntable U\n3 Sum number\n|\n|");
    other = MakeRef<FormulaListener>(functions);
    other->Initialize(framework, form->OwnerOf(u"U"), nullptr);
  }

  std::function<void()> there;
  Ref<FormulaListener> other;
};

TEST_F(ListenersInEachOtherTest, AggregatesSeeWhatTheInnerPassWrites) {
  LoadBoth();
  other->SetPropertyFormula(3, u"1 + SUM([Sum], [U], MAX([Sum], [U]) < 9)", u"");
  const auto sums = [this] { return form->TableOf(u"U").Texts(u"Sum"); };
  other->TableNotification(*form->Notification(), nullptr);
  EXPECT_EQ(sums(), "1|2");
  other->TableNotification(*form->Notification(), nullptr);
  EXPECT_EQ(sums(), "4|7");
  for (auto& row : form->TableOf(u"U").rows)
    row->cells[0]->Type(u"");
  there = [&, calls = 0]() mutable {
    if (++calls <= 2) other->TableNotification(*form->Notification(), nullptr);
  };
  listener->SetPropertyFormula(1, u"SUM(ONERROR(THERE(), 0), [T])", u"");
  Notify();
  EXPECT_EQ(sums(), "4|7");
}

TEST_F(ListenersInEachOtherTest, LongChainsOfDefinitionsStayInTheirOwn) {
  LoadBoth();
  constexpr int kLength = 300;
  for (int i = 0; i < kLength; ++i)
    listener->SetDefinition(ToDecimalText(i), u"1 + [" + ToDecimalText(i + 1) + u"]");
  listener->SetDefinition(ToDecimalText(kLength), u"7");
  listener->SetDefinition(u"there", u"1 = THERE()");
  other->SetDefinition(u"here", u"HERE()");
  std::string found;
  there = [&] { found = Describe(*other->DefinedValue(u"here")); };
  listener->SetPropertyFormula(1, u"[there]", u"");
  Notify();
  EXPECT_EQ(found, "307");
}

// Whoever changes a formula empties its tree, even while its column is computed.
TEST_F(RecalculationTest, ChangedFormulasAreParsedAnew) {
  functions = {{u"CHANGE", [&] {
                  return std::make_unique<FakeFunction>(
                      [&](const TokenLayer*, NotebookObject*, CellValue& target) {
                        const auto formula = listener->Configuration().property_formulas.Find(u"1");
                        formula->Formula = next;
                        formula->TokenTree = nullptr;
                        target.SetNumber(1, 1);
                      });
                }}};
  const std::string error = "#Error: the specified formula has an unbalanced left parenthesis";
  for (const auto& [changed, shown] :
       {std::pair{u"7", std::string("1|7|7")}, {u"(", "1|" + error + "|" + error}}) {
    next = changed;
    Load("1 X number\n|\n|\n|");
    listener->SetPropertyFormula(1, u"CHANGE()", u"");
    Notify();
    EXPECT_EQ(Texts(u"X"), shown);
  }
}

// A result format that shows every number as "custom".
class CustomFormat final : public FieldListener, public IKtFormulaFormat {
 public:
  CustomFormat() : FieldListener(u"CustomFormat") {}
  ~CustomFormat() override { Terminate(); }
  std::u16string TypeName() const override { return u"CustomFormat"; }
  void EditProperties() override {}
  void TableNotification(NotificationSource&, HostObject*) override {}
  void SetGridCellValue(GridControl& control, TableCell& cell, double, std::u16string_view format,
                        std::int16_t, const ExaminedUnitsMap&) override {
    if (format == u"fail") throw RaisedError(70, u"Format", u"failed");
    control.WriteText(cell, u"custom", true);
  }
};

TEST_F(RecalculationTest, CreatesResultFormatForEachPass) {
  Load("1 X number formatted\n|");
  listener->SetPropertyFormula(1, u"5", u"");
  framework->create_listener = [&](std::u16string_view name) -> Ref<IKtFieldListener> {
    if (name == u"Custom") return MakeRef<CustomFormat>();
    if (name == u"NoFormat") return MakeRef<FormulaListener>(std::span<const FunctionClass>());
    return nullptr;
  };
  for (const auto& [name, shown] : {std::pair{u"", "5.000"},
                                    {u"Custom", "custom"},
                                    {u"NoFormat", "5.000"},
                                    {u"Unknown", "5.000"}}) {
    listener->SetResultFormat(name);
    Notify();
    EXPECT_EQ(Texts(u"X"), shown) << ToUtf8(name);
  }
  EXPECT_EQ(framework->calls,
            (std::vector<std::string>{"create Custom", "create NoFormat", "create Unknown"}));
}

TEST_F(RecalculationTest, HostFailureReachesHostAndNextPassWorks) {
  Load("1 X number formatted\n|");
  framework->create_listener = [](auto) { return MakeRef<CustomFormat>(); };
  listener->SetResultFormat(u"Custom");
  listener->SetDefinition(u"five", u"5");
  listener->SetPropertyFormula(1, u"[five]", u"fail");
  EXPECT_EQ(Raised([&] { Notify(); }), "raised 70 Format: failed; ");
  listener->SetPropertyFormula(1, u"'five'", u"");
  grid->on_write = [] { throw RaisedError(71, u"Grid", u"failed"); };
  EXPECT_EQ(Raised([&] { Notify(); }), "raised 71 Grid: failed; ");
  grid->on_write = [] {};
  Notify();
  EXPECT_EQ(Texts(u"X"), "five");

  // A pass that never comes about leaves nothing behind either.
  listener->Terminate();
  EXPECT_EQ(Raised([&] { Notify(); }), "raised 91 KtFormula9: Object variable not set; ");
}

// The host may notify, reconfigure or end the listener from within a write.
TEST_F(RecalculationTest, WritesMayComeBackToListener) {
  const std::vector<std::pair<std::function<void()>, std::string>> reactions = {
      {[&] { Notify(); }, "1|1 2|2"},
      {[&] { listener->SetPropertyFormula(2, u"3", u""); }, "1|1 3|3"},
      {[&] { listener->SetPropertyFormula(1, u"", u""); }, "1|1 2|2"},
      {[&] { listener->SetDefinition(u"one", u"4"); }, "1|1 2|2"},
      {[&] { listener->Terminate(); }, "1|1 |"},
  };
  for (const auto& [reaction, texts] : reactions) {
    Load("1 X number | 2 Y number\n|\n|");
    listener->SetDefinition(u"one", u"1");
    listener->SetPropertyFormula(1, u"[one]", u"");
    listener->SetPropertyFormula(2, u"2", u"");
    grid->on_write = [react = reaction, once = false]() mutable {
      if (!std::exchange(once, true)) react();
    };
    Notify();
    EXPECT_EQ(Texts(u"X") + " " + Texts(u"Y"), texts);
  }
}

// Formulas of a column that read the column itself; every pass but the last one changes it.
TEST_F(RecalculationTest, ColumnsThatReadThemselvesSettleOrNot) {
  functions = {StandardFunctions().begin(), StandardFunctions().end()};
  ExpectRows(
      {
          "SUM(1,[T],1/[X]) -> 0|0",
          "IF(MAX([X])<3,MAX([X])+1,3) -> 3|3",
          "SUM([X])+1 -> never",
      },
      [this](const std::string& formula) {
        Load("1 X number\n|\n|");
        listener->SetPropertyFormula(1, Widen(formula), u"");
        for (int pass = 0; pass < 8; ++pass) {
          const std::string before = Texts(u"X");
          Notify();
          if (Texts(u"X") == before) return before;
        }
        return std::string("never");
      });
}

}  // namespace
}  // namespace ktformula
