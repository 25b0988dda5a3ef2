#include "random_notebooks/plan.h"

#include <array>
#include <cstdio>
#include <string_view>

namespace random_notebooks {

namespace {

// What is said of each kind, in the order of the enumeration: the words, and which members of the
// edit follow.
struct EditWords {
  std::string_view words;
  bool has_row;
  bool has_column;
  bool has_listener;
};
constexpr std::array<EditWords, 9> kEditWords{{
    {"type", true, true, false},
    {"state", true, true, false},
    {"write", true, true, false},
    {"formula", false, true, true},
    {"definition", false, false, true},
    {"result format", false, false, true},
    {"add row", false, false, false},
    {"notify", false, false, false},
    {"terminate", false, false, true},
}};

std::string Quoted(std::u16string_view text) {
  return "\"" + Printable(text) + "\"";
}

std::string Describe(const ColumnPlan& column) {
  std::string line = "  column " + Printable(column.name) + ": " +
                     Printable(ktnotebook::DataTypeText(column.type));
  if (!column.unit.empty()) line += " " + Printable(column.unit);
  if (column.number_formatting) line += ", formatted";
  return line + "\n";
}

std::string Describe(const ListenerPlan& listener, const TablePlan& table) {
  std::string lines = "  listener at " + std::to_string(listener.position) + " " +
                      Printable(listener.result_format) + "\n";
  for (const DefinitionPlan& definition : listener.definitions) {
    lines += "    definition " + Printable(definition.name) + ": " + Printable(definition.formula);
    lines += "\n";
  }
  for (const FormulaPlan& formula : listener.formulas) {
    lines += "    " + Printable(table.columns[formula.column].name) + ": ";
    lines += Printable(formula.formula);
    if (!formula.format.empty()) lines += "   as " + Quoted(formula.format);
    lines += "\n";
  }
  return lines;
}

std::string Describe(const TablePlan& table) {
  std::string lines = "table " + Printable(table.name) + "\n";
  for (const ColumnPlan& column : table.columns)
    lines += Describe(column);
  for (const ListenerPlan& listener : table.listeners)
    lines += Describe(listener, table);
  for (const RowPlan& row : table.rows) {
    lines += "  row " + Quoted(row.id) + ":";
    for (const std::u16string& text : row.texts)
      lines += " | " + Printable(text);
    lines += "\n";
  }
  return lines;
}

std::string Describe(const Step& step, const NotebookPlan& plan) {
  std::string lines;
  for (const Edit& edit : step.edits)
    lines += "  " + Describe(edit, plan) + "\n";
  lines += "  recalculate, at most " + std::to_string(step.maximum_rounds) + " rounds";
  if (step.first_table) lines += ", table " + std::to_string(*step.first_table) + " first";
  if (step.comma) lines += ", decimal comma";
  if (!step.look_at_rounds) lines += ", in one go";
  if (!step.look_at_end) lines += ", not looked at";
  return lines + "\n";
}

}  // namespace

std::string Printable(std::u16string_view text) {
  std::string printable;
  for (const char16_t unit : text) {
    if (unit >= 0x20 && unit < 0x7F) {
      printable += static_cast<char>(unit);
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04X", static_cast<unsigned>(unit));
      printable += escaped;
    }
  }
  return printable;
}

std::string Describe(const Edit& edit, const NotebookPlan& plan) {
  const EditWords& words = kEditWords[static_cast<std::size_t>(edit.kind)];
  const TablePlan& table = plan.tables[edit.table];
  std::string line = std::string(words.words) + " in " + Printable(table.name);
  if (words.has_listener) line += ", listener " + std::to_string(edit.listener + 1);
  if (words.has_column && edit.column < table.columns.size()) {
    line += ", column " + Printable(table.columns[edit.column].name);
  }
  if (words.has_row) line += ", row " + std::to_string(edit.row + 1);
  return line + ": " + Quoted(edit.text) + " " + Quoted(edit.more);
}

std::string Describe(const NotebookPlan& plan) {
  std::string lines;
  for (const TablePlan& table : plan.tables)
    lines += Describe(table);
  for (const Edit& poke : plan.pokes)
    lines += "POKE: " + Describe(poke, plan) + "\n";
  if (!plan.pokes.empty()) lines += "at each call of " + std::to_string(plan.poke_interval) + "\n";
  for (std::size_t i = 0; i < plan.steps.size(); ++i)
    lines += "step " + std::to_string(i + 1) + "\n" + Describe(plan.steps[i], plan);
  return lines;
}

}  // namespace random_notebooks
