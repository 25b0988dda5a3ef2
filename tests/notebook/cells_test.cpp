// Where rows and cells are, and the objects that stand for them.
#include "notebook/tables/cells.h"

#include <gtest/gtest.h>

#include "notebook/files/framework.h"
#include "notebook/files/utf.h"
#include "notebook/tables/model.h"

namespace ktnotebook {
namespace {

struct CellsTest : testing::Test {
  Ref<NotebookFramework> framework = ktformula::MakeRef<NotebookFramework>();
  Ref<NotebookForm> form = ktformula::MakeRef<NotebookForm>(u"F", framework->OwnUnits());
  NotebookTable& table = *form->AddTable(u"T", 1);
};

TEST_F(CellsTest, RowsAreFoundByTheirIdsElseByTheirNumbers) {
  const struct {
    std::u16string_view id;
    bool is_new;
  } rows[] = {{u"2", true}, {u"2", false}, {u"02", true}, {u"3", true},  {u"3", false},
              {u"A", true}, {u"5", true},  {u"1", true},  {u"1", false}, {u"", true},
              {u"", false}, {u"9", true},  {u"9", false}};
  for (const auto& [id, is_new] : rows)
    EXPECT_EQ(table.AddRow(id).has_value(), is_new) << ToUtf8(id);
  const struct {
    std::u16string_view text;
    int position;
  } cases[] = {{u"2", 1},   {u"02", 2}, {u"3", 3}, {u"A", 4}, {u"5", 5},
               {u"1", 6},   {u"", 7},   {u"9", 8}, {u"4", 4}, {u"8", 8},
               {u"007", 7}, {u"10", 0}, {u"0", 0}, {u"a", 0}, {u"-1", 0}};
  for (const auto& [text, position] : cases) {
    const std::optional<NotebookRow> row = table.FindRow(text);
    EXPECT_EQ(row ? row->Position() : 0, position) << ToUtf8(text);
  }
}

TEST_F(CellsTest, AnObjectStaysTheSameWhileItIsHeldAndMayOutliveItsForm) {
  NotebookColumn& column = *table.AddColumn({1, u"C", DataType::kString, nullptr, false});
  table.AddRow(u"A")->CellAt(0).Enter(u"x");
  const Ref<ktformula::TableCell> cell = column.Cell(1);
  const Ref<ktformula::TableRow> row = table.Row(1);
  for (int i = 0; i < 1000; ++i)
    table.AddRow(u"more" + std::u16string(static_cast<std::size_t>(i), u'e'));
  column.Cell(1001);
  EXPECT_EQ(column.Cell(1).get(), cell.get());
  EXPECT_EQ(row->Cell(column).get(), cell.get());
  EXPECT_EQ(cell->Row().get(), row.get());
  EXPECT_EQ(cell->Text() + row->Tag(u"ID"), u"xA");
  form = nullptr;
}

}  // namespace
}  // namespace ktnotebook
