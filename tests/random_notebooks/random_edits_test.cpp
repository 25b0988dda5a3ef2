// Random edits of random notebooks: what the tables promise is not needed to find what changed, a
// rename changes no value, and all of it can be taken back.
#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "random_notebooks/comparison.h"
#include "random_notebooks/generator.h"
#include "random_notebooks/random.h"

#include "notebook/tables/edits.h"
#include "values/text.h"

namespace random_notebooks {
namespace {

using ktformula::FormulaText;
using ktnotebook::FormEdits;
using ktnotebook::NotebookColumn;
using ktnotebook::NotebookForm;
using ktnotebook::NotebookRow;
using ktnotebook::NotebookTable;

constexpr int kMaximumRounds = 12;
constexpr std::u16string_view kNames[] = {u"x",  u"Mass", u"T",        u"total", u"new", u"f",
                                          u"a:", u"A",    u"parent",   u"2",     u"1",   u"Lots",
                                          u"g",  u"b]",   u" blanks ", u"Name",  u""};
constexpr std::u16string_view kTexts[] = {u"1", u"2.50", u"7 mg", u"A", u"", u"n.d.", u"12 %"};
constexpr std::u16string_view kFormulas[] = {u"[x]*2", u"SUM([Mass])", u"[T:x:1]", u"",
                                             u"COUNT([T],[x]>1)"};

std::string NumberText(double number) {
  char text[40];
  std::snprintf(text, sizeof text, "%.17g", number);
  return text;
}

// What the cells show, and nothing else.
std::string CellsOf(const NotebookForm& form) {
  std::string all;
  for (const NotebookTable* table : form.Tables()) {
    for (const NotebookRow row : table->Rows()) {
      for (std::size_t c = 0; c < table->Columns().size(); ++c) {
        const auto cell = row.CellAt(c);
        const auto content = cell.Content();
        all += Printable(content.text) + "|" + NumberText(content.min) + "|" +
               NumberText(content.max) + "|" + Printable(content.unit) + "|" +
               Printable(cell.State()) + "|" + Printable(cell.Tag()) + "\n";
      }
    }
  }
  return all;
}

std::string TextsOf(const std::vector<FormulaText>& texts) {
  std::string all;
  for (const FormulaText& text : texts)
    all += " " + Printable(text.key) + "=" + Printable(text.formula) + ";" +
           Printable(text.string_format);
  return all + "\n";
}

// Names, places and formulas.
std::string StructureOf(const NotebookForm& form) {
  std::string all;
  for (const auto& field : form.Fields()) {
    all += std::to_string(field->Position()) + Printable(field->Name()) + "\n";
    if (!field->OwnTable()) continue;
    const NotebookTable& table = *field->OwnTable();
    for (const auto& column : table.Columns()) {
      all += std::to_string(column->Index()) + Printable(column->Definition().name) + " " +
             std::to_string(column->Data().EnteredCount()) + "\n";
      EXPECT_EQ(table.FindColumn(column->Definition().name), column.get());
    }
    for (const NotebookRow row : table.Rows()) {
      all += Printable(row.ID());
      for (const auto& [name, value] : row.Tags())
        all += " " + Printable(name) + "=" + Printable(value);
      all += "\n";
      EXPECT_EQ(table.FindRow(row.ID())->Index(), row.Index());
    }
    for (const auto& listener : table.Listeners()) {
      const auto& formulas = dynamic_cast<const ktformula::IKtFormulaListener&>(*listener);
      all += TextsOf(formulas.ColumnFormulas()) + TextsOf(formulas.Definitions());
    }
  }
  return all;
}

// A notebook under edits.
struct Edited {
  Edited(const NotebookPlan& plan, const Mode& mode)
      : notebook(plan, mode), edits(Ref<NotebookForm>(&notebook.Form())) {}

  NotebookForm& Form() { return notebook.Form(); }
  Rounds Recalculate() { return notebook.Recalculate(kMaximumRounds, Step()); }

  LiveNotebook notebook;
  FormEdits edits;
};

enum class Did { kNothing, kEdit, kRename };

// The same random edit for the same numbers; what is refused changes nothing.
Did EditOnce(FormEdits& edits, Random random) {
  NotebookForm& form = edits.Form();
  const auto fields = form.Fields();
  const auto tables = form.Tables();
  const std::u16string name(random.Pick(kNames));
  const std::size_t place = random.Below(6);
  if (tables.empty()) return edits.Undo() ? Did::kEdit : Did::kNothing;
  auto& field = *fields[random.Below(fields.size())];
  NotebookTable& table = *tables[random.Below(tables.size())];
  const bool has_columns = !table.Columns().empty();
  NotebookColumn* const column =
      has_columns ? table.Columns()[random.Below(table.Columns().size())].get() : nullptr;
  const std::size_t row = random.Below(table.Rows().size() + 1);
  const bool has_row = row < table.Rows().size();
  const std::u16string text(random.Pick(kTexts));
  const std::u16string formula(random.Pick(kFormulas));
  auto* const listener =
      table.Listeners().empty()
          ? nullptr
          : dynamic_cast<ktformula::IKtFormulaListener*>(table.Listeners()[0].get());
  switch (random.Below(18)) {
    case 0: edits.AddTable(name, 77, place); break;
    case 1: edits.AddColumn(table, {999, name, DataType::kNumber, nullptr, false}, place); break;
    case 2: {
      ktformula::Dictionary<std::u16string> tags;
      tags.Add(u"Lot", std::u16string(text));
      edits.AddRow(table, name, tags, place);
      break;
    }
    case 3: edits.RenameField(field, name); return Did::kRename;
    case 4:
    case 5:
      if (column == nullptr) return Did::kNothing;
      edits.RenameColumn(*column, name);
      return Did::kRename;
    case 6:
      if (!has_row) return Did::kNothing;
      edits.RenameRow(table, row, name);
      return Did::kRename;
    case 7: edits.MoveField(field, place); break;
    case 8:
      if (column == nullptr) return Did::kNothing;
      edits.MoveColumn(*column, place);
      break;
    case 9:
      if (!has_row) return Did::kNothing;
      edits.MoveRow(table, row, place);
      break;
    case 10: edits.RemoveField(field); break;
    case 11:
      if (column == nullptr) return Did::kNothing;
      edits.RemoveColumn(*column);
      break;
    case 12:
      if (!has_row) return Did::kNothing;
      edits.RemoveRow(table, row);
      break;
    case 13:
    case 14:
      if (column == nullptr || !has_row || !table.Rows()[row].CellAt(column->Index()).Accepts(text))
        return Did::kNothing;
      edits.SetCell(table.Rows()[row].CellAt(column->Index()), text);
      break;
    case 15:
      if (column == nullptr || listener == nullptr) return Did::kNothing;
      edits.SetFormula(*listener, *column, formula, u"");
      break;
    case 16:
      if (listener == nullptr) return Did::kNothing;
      edits.SetDefinition(*listener, u"total", formula);
      break;
    default: return edits.Undo() ? Did::kEdit : Did::kNothing;
  }
  return Did::kEdit;
}

struct Counts {
  int renames = 0;
  int taken_back = 0;
};

Did TryEdit(Edited& edited, const Random& random) {
  auto& given = edited.Form().Given();
  const auto promises = given;
  given.binding = true;
  Did did = Did::kNothing;
  const std::string before = StructureOf(edited.Form()) + CellsOf(edited.Form());
  try {
    did = EditOnce(edited.edits, random);
  } catch (const ktnotebook::EditRefusal&) {
    EXPECT_EQ(StructureOf(edited.Form()) + CellsOf(edited.Form()), before);
  }
  given = promises;
  return did;
}

// Whether the computed cells follow from the others, whatever they held before. They do not where
// they need themselves.
bool IsDetermined(const NotebookPlan& plan, const std::string& cells) {
  Edited other(plan, AllModes()[0]);
  for (NotebookTable* const table : other.Form().Tables()) {
    for (const auto& column : table->Columns()) {
      for (std::size_t row = 0; table->HasFormula(*column) && row < column->Data().Count(); ++row)
        ktnotebook::NotebookCell(*column, row).TakeWrittenText(u"5", true);
    }
  }
  return other.Recalculate().settled && CellsOf(other.Form()) == cells;
}

void EditAtRandom(std::uint64_t seed, Counts& counts) {
  const NotebookPlan plan = MakePlan(seed);
  Edited asked(plan, AllModes()[0]);
  Edited promised(plan, AllModes()[3]);
  const bool was_settled = asked.Recalculate().settled;
  promised.Recalculate();
  // What the host's functions do happens as often as they are called.
  if (asked.notebook.Calls() + promised.notebook.Calls() > 0) return;
  const std::string structure = StructureOf(asked.Form());
  const std::string cells = CellsOf(asked.Form());
  const bool is_determined = was_settled && IsDetermined(plan, cells);
  bool is_settled = was_settled;
  Random random(seed);
  for (int step = 0; step < 16; ++step) {
    const std::string shown = CellsOf(asked.Form());
    const Random same(random.Next());
    const Did did = TryEdit(asked, same);
    ASSERT_EQ(TryEdit(promised, same), did) << seed << " step " << step;
    if (did == Did::kNothing) continue;
    const bool settled_before = is_settled;
    is_settled = asked.Recalculate().settled;
    promised.Recalculate();
    ASSERT_EQ(StructureOf(promised.Form()), StructureOf(asked.Form())) << seed << " step " << step;
    ASSERT_EQ(CellsOf(promised.Form()), CellsOf(asked.Form())) << seed << " step " << step;
    if (did != Did::kRename || !settled_before) continue;
    ++counts.renames;
    ASSERT_EQ(CellsOf(asked.Form()), shown) << seed << " step " << step;
  }
  for (Edited* const edited : {&asked, &promised}) {
    const std::string last = StructureOf(edited->Form());
    int steps = 0;
    while (edited->edits.Undo())
      ++steps;
    ASSERT_EQ(StructureOf(edited->Form()), structure) << seed;
    while (steps-- > 0)
      edited->edits.Redo();
    ASSERT_EQ(StructureOf(edited->Form()), last) << seed;
    while (edited->edits.Undo())
      ;
    ASSERT_EQ(StructureOf(edited->Form()), structure) << seed;
    edited->Recalculate();
    if (!is_determined) continue;
    ASSERT_EQ(CellsOf(edited->Form()), cells) << seed;
  }
  if (is_determined) ++counts.taken_back;
}

class RandomEdits : public testing::TestWithParam<std::uint64_t> {};

TEST_P(RandomEdits, AreFoundWithoutPromisesAndCanBeTakenBack) {
  constexpr std::uint64_t kSeeds = 20;
  Counts counts;
  for (std::uint64_t i = 0; i < kSeeds && !HasFatalFailure(); ++i)
    EditAtRandom(GetParam() * kSeeds + i, counts);
  EXPECT_GT(counts.renames, 10);
  EXPECT_GT(counts.taken_back, 3);
}

INSTANTIATE_TEST_SUITE_P(Part, RandomEdits, testing::Range<std::uint64_t>(0, 4));

}  // namespace
}  // namespace random_notebooks
