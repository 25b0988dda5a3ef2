// References: which object a text denotes, and the value that is taken from it.
#include "formula/reference.h"

#include <gtest/gtest.h>
#include <map>
#include <sstream>

#include "host_fakes.h"

#include "values/cell_value.h"
#include "values/describe.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {
namespace {

// A form with a table "Reactants" (columns Mass and Moles, one row, whose only cell is of Mass), a
// structure and a text field; and the cell and the row of another table, outside the form.
class ReferenceTest : public ::testing::Test {
 protected:
  ReferenceTest() {
    mass_cell->property = mass_property.get();
    mass_cell->row = row.get();
    mass_cell->min_number = 1;
    mass_cell->max_number = 2;
    row->cells[mass.get()] = mass_cell.get();
    far_cell->row = far_row.get();
    mass_cell->answers = {{u"mass", mass.get()},
                          {u"parent", row.get()},
                          {u"parent:moles", far_cell.get()},
                          // Never asked for: several parts that do not begin with "parent".
                          {u"reactants:moles", remark.get()}};
    row->answers = {{u"mass", mass.get()}};
    table->answers = {{u"moles", moles.get()}, {u"mass:a", mass_cell.get()}};
    scope->fields = {{u"Reactants", {table.get(), table.get()}},
                     {u"Product", {holder.get(), structure.get()}},
                     {u"Remark", {remark.get(), remark.get()}}};
    mass_cell->scope = row->scope = remark->scope = scope.get();
  }

  std::string NameOf(const NotebookObject* object) const {
    for (const auto& [name, named] : objects) {
      if (named == object) return name;
    }
    return "another object";
  }

  Ref<FakeProperty> mass_property = MakeRef<FakeProperty>(u"number");
  Ref<FakeTable> table = MakeRef<FakeTable>();
  // The column and the row know their table through different wrappers.
  Ref<FakeTable> same_table = MakeRef<FakeTable>(table.get());
  Ref<FakeTable> far_table = MakeRef<FakeTable>();
  Ref<FakeColumn> mass = MakeRef<FakeColumn>(*table);
  Ref<FakeColumn> moles = MakeRef<FakeColumn>(*table);
  Ref<FakeRow> row = MakeRef<FakeRow>(*same_table);
  Ref<FakeRow> far_row = MakeRef<FakeRow>(*far_table);
  Ref<FakeCell> mass_cell = MakeRef<FakeCell>();
  Ref<FakeCell> far_cell = MakeRef<FakeCell>();
  Ref<FakeField> holder = MakeRef<FakeField>();
  Ref<FakeStructure> structure = MakeRef<FakeStructure>(u"data");
  Ref<FakeField> remark = MakeRef<FakeField>();
  Ref<FakeScope> scope = MakeRef<FakeScope>();
  std::map<std::string, NotebookObject*> objects = {{"-", nullptr},
                                                    {"mass", mass.get()},
                                                    {"moles", moles.get()},
                                                    {"row", row.get()},
                                                    {"far row", far_row.get()},
                                                    {"cell", mass_cell.get()},
                                                    {"far cell", far_cell.get()},
                                                    {"table", table.get()},
                                                    {"structure", structure.get()},
                                                    {"remark", remark.get()}};
};

TEST_F(ReferenceTest, ObjectsAreTheSameByIdentity) {
  EXPECT_TRUE(IsSameObject(table.get(), same_table.get()));
  EXPECT_FALSE(IsSameObject(table.get(), far_table.get()));
  EXPECT_FALSE(IsSameObject(table.get(), nullptr));
  EXPECT_FALSE(IsSameObject(nullptr, table.get()));
  EXPECT_TRUE(IsSameObject(nullptr, nullptr));
}

TEST_F(ReferenceTest, ResolvesToObjects) {
  // Text, context, "this" -> the object; "unknown": none, and the receiver is an error value.
  ExpectRows(
      {
          "this,cell,row -> row",
          " THIS ,cell,row -> row",
          "this,cell,- -> -",
          " This : Mass ,far cell,row -> mass",
          "this:Parent,far cell,cell -> row",
          "Mass,cell,far cell -> mass",
          "PARENT,cell,- -> row",
          "parent : Moles,cell,- -> far cell",
          // Fields of the form, from anchors that have no answer or are not asked.
          "Reactants,cell,- -> table",
          "Reactants,remark,- -> table",
          "this:Remark,-,row -> remark",
          "Reactants:Moles,cell,- -> moles",
          "Reactants: Mass :A,cell,- -> cell",
          "Reactants:Solvent,cell,- -> -",
          "Product,cell,- -> structure",
          "Product:Mass,cell,- -> structure",
          "reactants,cell,- -> unknown",
          "Mass,remark,- -> unknown",
          "Mass:A,cell,- -> unknown",
          " this : No : such ,cell,row -> unknown",
          "Mass:this,cell,row -> unknown",
          "parent:Solvent,cell,- -> unknown",
          ",cell,- -> unknown",
          "Reactants,-,- -> unknown",
          "Reactants,far cell,- -> unknown",
      },
      [&](const std::string& row_text) {
        std::istringstream row_fields(row_text);
        std::string text, anchor, this_object;
        std::getline(row_fields, text, ',');
        std::getline(row_fields, anchor, ',');
        std::getline(row_fields, this_object);
        CellValue value;
        const Ref<NotebookObject> object = ResolveReference(
            value, ReferencePath(Widen(text)), objects.at(anchor), objects.at(this_object));
        if (value.CellValueType() == kCellValueTypeUnknown) return NameOf(object.get());
        EXPECT_EQ(NameOf(object.get()), "-");
        EXPECT_EQ(Describe(value), "E-2147220991 CellValue.ResolveReference: the reference \"" +
                                       text + "\" is not recognized");
        return std::string("unknown");
      });
}

TEST_F(ReferenceTest, TakesValues) {
  // Object, context -> value, or the raised description.
  const std::string no_value = "\" can not be converted into a value";
  const std::string no_cell = "the specified table property can not be resolved to a value for ";
  const std::string no_table =
      no_cell + "a formula being assigned to something other than a table cell";
  ExpectRows(
      {
          "cell,- -> 1..2",
          "structure,- -> <data",
          "mass,row -> 1..2",
          "mass,cell -> 1..2",
          "-,cell -> the object of type \"Nothing" + no_value,
          "table,cell -> the object of type \"Table" + no_value,
          "row,cell -> the object of type \"TableRow" + no_value,
          "remark,cell -> the object of type \"TextField" + no_value,
          "mass,far row -> " + no_cell + "a table row in a different table",
          "mass,far cell -> " + no_cell + "a table cell in a different table",
          "moles,row -> " + no_cell + "this table row",
          "moles,cell -> Object variable not set",
          "mass,remark -> " + no_table,
          "mass,- -> " + no_table,
      },
      [&](const std::string& row_text) {
        const std::size_t comma = row_text.find(',');
        CellValue value;
        try {
          ReferenceValue(value, ReferencePath(u"this"), objects.at(row_text.substr(comma + 1)),
                         objects.at(row_text.substr(0, comma)), nullptr);
        } catch (const RaisedError& error) {
          const bool own = error.Number() == kComponentError;
          EXPECT_EQ(error.Number(), own ? kComponentError : 91);
          EXPECT_EQ(error.Source(), own ? u"CellValue.ReferenceValue" : u"KtFormula9");
          return Narrow(error.Description());
        }
        return Describe(value);
      });
  CellValue value;
  EXPECT_EQ(
      Raised([&] { ReferenceValue(value, ReferencePath(u"No"), row.get(), nullptr, nullptr); }),
      "raised -2147220991 CellValue.ReferenceValue: the object of type \"Nothing" + no_value +
          "; ");
  EXPECT_EQ(Describe(value),
            "E-2147220991 CellValue.ResolveReference: the reference \"No\" is not recognized");
  ReferenceValue(value, ReferencePath(u"Mass"), mass_cell.get(), nullptr, nullptr);
  EXPECT_EQ(value.ELNProperty().get(), mass_property.get());
}

class FakeNames : public NamedValues {
 public:
  std::map<std::u16string, CellValue, std::less<>> values;

  std::shared_ptr<CellValue> DefinedValue(std::u16string_view name) override {
    const auto found = values.find(name);
    return found == values.end() ? nullptr : std::make_shared<CellValue>(found->second);
  }
};

TEST_F(ReferenceTest, PrefersNamedValues) {
  FakeNames names;
  names.values[u"Mass"].SetNumber(7, 8);
  names.values[u"this"].SetError(5, u"Source", u"description");
  names.values[u"Drawing"].SetMvrStructure(u"data");
  // Names are the whole text as it stands; copying comes with its own failure.
  ExpectRows(
      {
          "Mass -> 7..8",
          "this -> E5 Source: description",
          " Mass -> 1..2",
          "this:Mass -> 1..2",
          "Drawing -> raised 13 CellValue.BooleanValue: an argument does not evaluate to a "
          "Boolean value; <",
      },
      [&](const std::string& name) {
        CellValue value;
        const std::string raised = Raised([&] {
          ReferenceValue(value, ReferencePath(Widen(name)), mass_cell.get(), mass_cell.get(),
                         &names);
        });
        return raised + Describe(value);
      });
}

}  // namespace
}  // namespace ktformula
