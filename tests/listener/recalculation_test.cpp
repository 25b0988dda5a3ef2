// Recalculation: what is written into which cell, and what is left alone.

#include <gtest/gtest.h>

#include "formats/fake_framework.h"
#include "formula/fake_function.h"
#include "functions/standard_functions.h"
#include "listener/formula_listener.h"
#include "notebook/notebook_file.h"
#include "notebook/table_control.h"
#include "notebook/utf.h"
#include "values/describe.h"
#include "values/text.h"

namespace ktformula {
namespace {

using ktnotebook::Notebook;
using ktnotebook::NotebookForm;
using ktnotebook::NotebookTable;
using ktnotebook::ToUtf8;

// Passes every write on and records it.
class RecordingGrid : public GridControl {
 public:
  explicit RecordingGrid(Ref<GridControl> grid) : grid_(std::move(grid)) {}

  std::string log;
  // Runs after each text that is written.
  std::function<void()> on_write = [] {};

  std::u16string TypeName() const override { return u"Grid"; }
  void WriteText(TableCell& cell, std::u16string_view text, bool flag) override {
    log += "write " + ToUtf8(text) + (flag ? " as value; " : "; ");
    grid_->WriteText(cell, text, flag);
    on_write();
  }
  void ClearNumber(TableCell& cell) override {
    log += "clear; ";
    grid_->ClearNumber(cell);
  }
  void SetValue(TableCell& cell, double value, std::u16string_view pattern,
                std::u16string_view unit_name) override {
    grid_->SetValue(cell, value, pattern, unit_name);
    log += "show " + ToUtf8(cell.Text()) + "; ";
  }
  void FinishCell(TableCell& cell) override {
    log += "finish. ";
    grid_->FinishCell(cell);
  }

 private:
  Ref<GridControl> grid_;
};

// The notification, the form and the control holder that lead to a recording grid.
class RecordingHost : public NotificationSource {
 public:
  explicit RecordingHost(Ref<GridControl> grid) : form_(MakeRef<HostForm>(std::move(grid))) {}
  std::u16string TypeName() const override { return u"Notification"; }
  Ref<Form> FormObject() override { return form_; }

 private:
  class Holder : public ControlHolder {
   public:
    explicit Holder(Ref<GridControl> grid) : grid_(std::move(grid)) {}
    std::u16string TypeName() const override { return u"Holder"; }
    Ref<ELNProperties> Properties() override { return nullptr; }
    Ref<GridControl> Object() override { return grid_; }

   private:
    Ref<GridControl> grid_;
  };
  class HostForm : public Form {
   public:
    explicit HostForm(Ref<GridControl> grid) : holder_(MakeRef<Holder>(std::move(grid))) {}
    std::u16string TypeName() const override { return u"Form"; }
    Ref<ControlHolder> HolderOf(const Field&) override { return holder_; }

   private:
    Ref<Holder> holder_;
  };

  Ref<HostForm> form_;
};

// A notebook with the table T, whose listener is made here with the functions of a test.
class RecalculationTest : public ::testing::Test {
 protected:
  ~RecalculationTest() override {
    if (listener) listener->Terminate();
  }

  // `table` is what stands inside the table element. The listener sees the table and the form's
  // other fields; X, key 1, is the column that the helpers below are about.
  void Load(const std::string& table, const std::string& fields = "") {
    if (listener) listener->Terminate();
    notebook = ktnotebook::ReadNotebook("<notebook><form name='F'><table name='T' key='1'>" +
                                            table + "</table>" + fields + "</form></notebook>",
                                        "test");
    form = notebook.forms.front().get();
    T = form->FindTable(u"T");
    listener = MakeRef<FormulaListener>(functions);
    listener->Initialize(framework, form->OwnerOf(T->OwnField()), nullptr);
    grid = MakeRef<RecordingGrid>(T->Control());
    host = MakeRef<RecordingHost>(grid);
  }
  void Notify() { listener->TableNotification(*host, nullptr); }

  // The cells of a column, "a|b".
  std::string Texts(std::u16string_view column) const {
    std::string texts;
    for (const auto& row : T->Rows()) {
      texts += (row->Position() == 1 ? "" : "|") +
               ToUtf8(row->CellAt(T->FindColumn(column)->Index()).Text());
    }
    return texts;
  }

  Ref<FakeFramework> framework = MakeRef<FakeFramework>();
  std::vector<FunctionClass> functions{StandardFunctions().begin(), StandardFunctions().end()};
  Notebook notebook;
  NotebookForm* form = nullptr;
  NotebookTable* T = nullptr;
  Ref<FormulaListener> listener;
  Ref<RecordingGrid> grid;
  Ref<RecordingHost> host;
};

TEST_F(RecalculationTest, WritesResultByItsKind) {
  constexpr std::string_view kSources =
      "<property key='2' name='Mass' type='number' unit='g'/>"
      "<property key='3' name='Date' type='date'/><property key='4' name='Mol' type='structure'/>"
      "<property key='5' name='NaN' type='number'/>";
  constexpr std::string_view kCells =
      "<cell property='Mass'>5 mg</cell><cell property='Date'>2024-03-01</cell>"
      "<cell property='Mol'>CCO</cell><cell property='NaN'>n.d.</cell>";
  struct Row {
    std::string x;
    std::string_view formula;
    std::string written;
  };
  const std::string kHuge = "1" + std::string(306, '0');
  const std::string number = "<property key='1' name='X' type='number'/>";
  const std::string formatted =
      "<property key='1' name='X' type='number' numberFormatting='true'/>";
  const std::string mass =
      "<property key='1' name='X' type='number' unit='g' numberFormatting='true'/>";
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
      {number, "[NaN]", "write #Error: Overflow; "},
      // With number formatting everything but errors and strings is shown as a number.
      {formatted, "1/3", "show 0.3333; "},
      {formatted, "'a'='a'", "show 0.000; "},
      {formatted, "[Mol]", "show 0.000; "},
      {formatted, "'abc'", "write abc; "},
      {formatted, "2 +/- 1", "write #Error: the symbol \"+/-\" is not a valid token; "},
      {formatted, "[NaN]", "write #Error: Overflow; "},
      {mass, "[Mass]*2", "show 0.01000 g; "},
      {mass, kHuge, "write #Error: Overflow; "},
  };
  for (const Row& row : rows) {
    Load(row.x + std::string(kSources) + "<row id='1'>" + std::string(kCells) + "</row>");
    listener->SetPropertyFormula(1, Widen(row.formula), u"");
    Notify();
    EXPECT_EQ(grid->log, row.written + "finish. ") << row.formula;
  }
}

TEST_F(RecalculationTest, ClearsNumberBeforeStringOnly) {
  Load(
      "<property key='1' name='X' type='number'/><property key='2' name='S' type='string'/>"
      "<row id='1'><cell property='X'>7</cell><cell property='S'>seven</cell></row>"
      "<row id='2'><cell property='X'>n.d.</cell></row><row id='3'/>");
  listener->SetPropertyFormula(1, u"[S]", u"");
  Notify();
  EXPECT_EQ(grid->log, "clear; write seven; finish. clear; write ; finish. write ; finish. ");
  grid->log.clear();
  listener->SetPropertyFormula(1, u"8", u"");
  Notify();
  EXPECT_EQ(grid->log,
            "write 8 as value; finish. write 8 as value; finish. write 8 as value; "
            "finish. ");
}

TEST_F(RecalculationTest, KeepsEnteredCellsAndForeignColumns) {
  Load(
      "<property key='9' name='Bad' type='string'/><property key='1' name='X' type='number'/>"
      "<property key='3' name='Empty' type='number'/><property key='4' name='None' type='number'/>"
      "<row id='1'><cell property='X' state='entered'>5</cell><cell property='Empty'>3</cell></row>"
      "<row id='2'><cell property='X' state='Entered'>5</cell></row>"
      "<row id='3'><cell property='X' state='noted'>5</cell></row>"
      "<row id='4'><cell property='None'>4</cell></row>");
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
      "<property key='1' name='X' type='number' unit='g' numberFormatting='true'/>"
      "<property key='2' name='M' type='number' unit='kg'/>"
      "<property key='3' name='V' type='number' unit='ml' numberFormatting='true'/>"
      "<row id='1'><cell property='M' state='entered'>12.0 mg</cell></row>");
  listener->SetPropertyFormula(1, u"[M]/3", u"");
  listener->SetPropertyFormula(3, u"[M]/3000", u"0.0");
  Notify();
  EXPECT_EQ(Texts(u"X"), "4.00 mg");
  EXPECT_EQ(Texts(u"V"), "4.0 \u00b5l");
}

// What a definition is worth: evaluated for the table, once in a pass, and never raising.
TEST_F(RecalculationTest, EvaluatesDefinitionsOncePerPass) {
  int calls = 0;
  NotebookObject* context = nullptr;
  functions = {{u"CALLS", [&] {
                  return std::make_unique<FakeFunction>(
                      [&](const TokenLayer*, NotebookObject* sco, CellValue& target) {
                        context = sco;
                        ++calls;
                        target.SetNumber(calls, calls);
                      });
                }}};
  Load("<property key='1' name='X' type='number'/><row id='1'/><row id='2'/>");
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
  EXPECT_EQ(context, &T->Rows()[1]->CellAt(0));

  const std::string unknown =
      "#Error: the object of type \"Nothing\" can not be converted into a value";
  EXPECT_EQ(shown(u"[nowhere]"), unknown + "|" + unknown);
  listener->SetDefinition(u"bad", u"1 + x");
  EXPECT_EQ(shown(u"1 + [bad]"),
            "#Error: the string \"x\" is not recognized|#Error: the string "
            "\"x\" is not recognized");
}

TEST_F(RecalculationTest, DefinitionsOutsidePassHaveNoTable) {
  Load("<property key='1' name='X' type='number'/><row id='1'/>");
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
  Load("<property key='1' name='X' type='string'/><row id='1'/>");
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
    Load(
        "<property key='1' name='X' type='number'/><property key='2' name='Y' type='number'/>"
        "<row id='1'/>");
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
  Load("<property key='1' name='X' type='string'/><row id='1'/>");
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

// What the depth of one evaluation forbids is another's to have.
TEST_F(RecalculationTest, RefusedEvaluationLeavesNoValueBehind) {
  Load(
      "<property key='1' name='X' type='number'/><property key='2' name='Y' type='number'/>"
      "<property key='3' name='Z' type='number'/><row id='1'/>");
  const auto nested = [](std::u16string formula) {
    for (int depth = 0; depth < 200; ++depth)
      formula = u"1=2 OR 1=1 AND 1=1+1*1!(" + formula + u")";
    return formula;
  };
  listener->SetDefinition(u"deep", nested(u"5"));
  listener->SetDefinition(u"caught", u"ONERROR([deep], 6)");
  listener->SetPropertyFormula(1, nested(u"[deep]"), u"");
  listener->SetPropertyFormula(2, nested(u"[caught]"), u"");
  listener->SetPropertyFormula(3, u"IF([deep] = [caught], 1, 2)", u"");
  Notify();
  EXPECT_EQ(Texts(u"X"), "#Error: the formula is nested too deeply");
  EXPECT_EQ(Texts(u"Z"), "1");
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
  Load("<property key='1' name='X' type='number' numberFormatting='true'/><row id='1'/>");
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
  Load("<property key='1' name='X' type='number' numberFormatting='true'/><row id='1'/>");
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
  const std::string table =
      "<property key='1' name='X' type='number'/><property key='2' name='Y' type='number'/>"
      "<row id='1'/><row id='2'/>";
  const std::vector<std::pair<std::function<void()>, std::string>> reactions = {
      {[&] { Notify(); }, "1|1 2|2"},
      {[&] { listener->SetPropertyFormula(2, u"3", u""); }, "1|1 3|3"},
      {[&] { listener->SetPropertyFormula(1, u"", u""); }, "1|1 2|2"},
      {[&] { listener->SetDefinition(u"one", u"4"); }, "1|1 2|2"},
      {[&] { listener->Terminate(); }, "1|1 |"},
  };
  for (const auto& [reaction, texts] : reactions) {
    Load(table);
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

}  // namespace
}  // namespace ktformula
