#include "analysis/formula_problems.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "analysis/formula_reading.h"
#include "analysis/formula_walk.h"
#include "analysis/reach.h"

#include "listener/configuration.h"
#include "values/text.h"

namespace ktformula {

namespace {

// A whole formula as a problem's place; empty for one without parts.
std::optional<TextRange> WholeOf(const SourceMap& map) {
  const std::u16string_view text = map.Text();
  const std::size_t begin = text.find_first_not_of(u" \t\r\n");
  if (begin == std::u16string_view::npos) return std::nullopt;
  return TextRange{begin, text.find_last_not_of(u" \t\r\n") + 1 - begin};
}

// The formulas and definitions of one listener.
class ListenerProblems {
 public:
  ListenerProblems(const WatchedForm& form, const WatchedTable& table,
                   const FormulaListener& listener, std::vector<Problem>& problems)
      : form_(form),
        table_(table),
        listener_(listener),
        problems_(problems),
        reach_(form),
        definitions_(listener.Configuration().definitions.Entries()) {
    for (const auto& entry : definitions_)
      definition_names_.push_back(entry.key);
  }

  void Find() {
    for (int i = 1; i <= table_.table->ColumnCount(); ++i)
      FindInColumn(table_.table->Column(i));
    for (const auto& entry : definitions_)
      SketchOfDefinition(entry.key);
  }

 private:
  void FindInColumn(const Ref<TableProperty>& column) {
    const Ref<ELNProperty> property = column->Property();
    const auto entry = listener_.FormulaOf(property->Key());
    if (!entry || entry->formula.empty()) return;
    Findings findings;
    const Spot spot{table_.table, ReferenceStart::kCell, column};
    if (const auto map = Read(entry->formula, findings)) {
      const Sketch result = Walk(*map, spot, findings);
      CheckResult(result, *property, *map, findings);
    }
    Problem place(ProblemCode::kSyntax);
    place.column = column;
    Add(findings, entry->formula, place);
    Add(FormatProblems(entry->string_format), entry->string_format, place);
  }

  std::optional<SourceMap> Read(std::u16string_view formula, Findings& findings) const {
    auto tree = ReadFormula(formula, listener_.FormulaFunctions(), form_.units.get(), findings);
    if (tree == nullptr) return std::nullopt;
    return SourceMap(std::move(tree));
  }

  Sketch Walk(const SourceMap& map, const Spot& spot, Findings& findings) {
    const FormulaSurroundings around{
        reach_, form_.units.get(), definition_names_,
        [this](std::u16string_view name) { return SketchOfDefinition(name); }};
    return FormulaWalk(map, around, findings).Run(spot);
  }

  // Empty when there is no definition of this name. One that is under way needs itself; that is
  // told by those who watch it being evaluated.
  std::optional<Sketch> SketchOfDefinition(std::u16string_view name) {
    if (const auto known = sketches_.find(name); known != sketches_.end()) return known->second;
    const auto formula = listener_.Configuration().definitions.Find(name);
    if (formula == nullptr) return std::nullopt;
    sketches_.emplace(name, Sketch());
    Findings findings;
    Sketch sketch = SketchOfKind(kCellValueTypeError);
    if (const auto map = Read(formula->Formula, findings)) {
      sketch = Walk(*map, {table_.table, ReferenceStart::kTable, nullptr}, findings);
      CheckUsable(sketch, *map, findings);
    }
    Problem place(ProblemCode::kSyntax);
    place.definition = std::u16string(name);
    Add(findings, formula->Formula, place);
    sketches_[std::u16string(name)] = sketch;
    return sketch;
  }

  static void CheckUsable(const Sketch& sketch, const SourceMap& map, Findings& findings) {
    const bool is_date = sketch.kind == kCellValueTypeDate;
    if (!is_date && sketch.kind != kCellValueTypeStructure) return;
    findings.push_back({ProblemCode::kUnusableDefinition, WholeOf(map),
                        is_date ? u"formulas can not take a date over from a definition"
                                : u"formulas can not take a structure over from a definition",
                        u"write it where it is needed instead of the definition's name"});
  }

  // Whether the result fits its column.
  static void CheckResult(const Sketch& result, const ELNProperty& property, const SourceMap& map,
                          Findings& findings) {
    if (!property.IsNumeric() || !result.dimension || result.is_constant) return;
    const std::u16string dimension = DimensionText(*result.dimension);
    const std::optional<Dimension> own = DimensionOf(property);
    if (own && *own != *result.dimension) {
      findings.push_back({ProblemCode::kUnits, WholeOf(map),
                          u"the result is " + dimension + u", but the column's unit is " +
                              property.DefaultUnit()->UnitText() + u" (" + DimensionText(*own) +
                              u")",
                          u""});
    } else if (!result.dimension->IsNumber() &&
               (!property.HasUnits() || !property.NumberFormatting())) {
      findings.push_back({ProblemCode::kUnitMissing, WholeOf(map),
                          u"the result is " + dimension + u" and shown in base units",
                          property.HasUnits() ? u"turn the column's number formatting on"
                                              : u"give the column a unit and number formatting"});
    }
  }

  void Add(const Findings& findings, std::u16string_view formula, const Problem& place) {
    for (const Finding& finding : findings) {
      Problem problem(finding.code);
      problem.table = table_.table;
      problem.column = place.column;
      problem.definition = place.definition;
      problem.formula = formula;
      problem.place = finding.place;
      problem.message = finding.message;
      problem.help = finding.help;
      problem.mend = finding.mend;
      problems_.push_back(std::move(problem));
    }
  }

  const WatchedForm& form_;
  const WatchedTable& table_;
  const FormulaListener& listener_;
  std::vector<Problem>& problems_;
  Reach reach_;
  std::vector<FormulaDictionary::Entry> definitions_;
  std::vector<std::u16string> definition_names_;
  std::map<std::u16string, Sketch, std::less<>> sketches_;
};

}  // namespace

std::vector<Problem> FindFormulaProblems(const WatchedForm& form) {
  std::vector<Problem> problems;
  for (const WatchedTable& table : form.tables) {
    for (const Ref<FormulaListener>& listener : table.listeners)
      ListenerProblems(form, table, *listener, problems).Find();
  }
  return problems;
}

}  // namespace ktformula
