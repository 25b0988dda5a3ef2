#include "notebook/commands/explanation_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <vector>

#include "notebook/commands/text_output.h"
#include "notebook/files/utf.h"
#include "values/number_text.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

using ktformula::ExplainedStep;
using ktformula::ExplainedValue;
using ktformula::Explanation;
using ktformula::TableCell;
using ktformula::ValueOrigin;

// What is quoted in a line takes no more columns than this.
constexpr int kWidestQuotation = 48;
constexpr std::string_view kRed = "\x1B[31m";
constexpr std::string_view kPlain = "\x1B[0m";

const NotebookCell& CellOf(const TableCell& cell) {
  return static_cast<const CellObject&>(cell).Cell();
}

std::u16string Brief(std::u16string_view text) {
  return CutToWidth(Printable(text), kWidestQuotation);
}

std::u16string Quoted(std::u16string_view text) {
  return u"\"" + Brief(text) + u"\"";
}

std::u16string CountText(std::size_t count) {
  std::u16string digits = ktformula::ToDecimalText(static_cast<std::int64_t>(count));
  for (std::size_t place = digits.size(); place > 3; place -= 3)
    digits.insert(place - 3, u",");
  return digits;
}

std::u16string Counted(std::size_t count, std::u16string_view what) {
  return CountText(count) + u" " + std::u16string(what) + (count == 1 ? u"" : u"s");
}

// "Reactants:Mass:A".
std::u16string NameInForm(const TableCell& cell) {
  const NotebookCell& own = CellOf(cell);
  return own.OwningRow().Parent().Name() + u":" + own.Definition().name + u":" +
         own.OwningRow().ID();
}

// More digits than a cell shows, and no more than tell something.
std::u16string ExactText(double number) {
  constexpr int kDigits = 8;
  std::array<char, 40> text{};
  const auto written = std::to_chars(text.data(), text.data() + text.size(), number,
                                     std::chars_format::scientific, kDigits - 1);
  double rounded = number;
  std::from_chars(text.data(), written.ptr, rounded);
  return ktformula::NumberToText(number == std::floor(number) ? number : rounded);
}

// A number in base units as one of the unit; nullptr for no unit.
std::u16string NumberIn(const NotebookUnit* unit, double min, double max) {
  const auto in_unit = [unit](double number) {
    return unit != nullptr ? unit->FromBase(number) : number;
  };
  const double from = in_unit(min);
  const double to = in_unit(max);
  if (!std::isfinite(from) || !std::isfinite(to)) return u"no number";
  std::u16string text = ExactText(from);
  if (from != to) text += u" .. " + ExactText(to);
  return unit != nullptr ? text + u" " + unit->UnitText() : text;
}

const NotebookUnitCatalogue& UnitsOf(const TableCell& cell) {
  return CellOf(cell).OwningRow().Parent().Parent().Units();
}

// The unit in which a cell's number is spoken of.
const NotebookUnit* UnitOf(const TableCell& cell) {
  const NotebookCell& own = CellOf(cell);
  const NotebookUnit* const shown = UnitsOf(cell).FindUnit(own.Content().unit);
  return shown != nullptr ? shown : own.Definition().unit;
}

// The unit in which the number of any other step is spoken of, such as that of a definition: of a
// cell that it is made of, else the base unit; nullptr when it has none.
const NotebookUnit* UnitOf(const ExplainedStep& step, const NotebookUnitCatalogue& units) {
  if (!step.dimension) return nullptr;
  if (step.alike) return UnitOf(*step.alike);
  for (const UnitDefinition& unit : UnitDefinitions()) {
    if (ktformula::DimensionOfQuantity(QuantityText(unit.quantity)) == step.dimension)
      return units.FindUnit(BaseUnitText(unit.quantity));
  }
  return nullptr;
}

bool IsNumber(const ExplainedValue& value) {
  return !value.raised && value.value.CellValueType() == ktformula::kCellValueTypeNumber;
}

std::u16string OutcomeText(const ExplainedValue& value, const NotebookUnit* unit) {
  if (value.raised) return u"an error: " + Brief(value.raised->Description());
  if (value.value.CellValueType() == ktformula::kCellValueTypeError)
    return u"an error: " + Brief(value.value.ErrorDescription());
  if (IsNumber(value)) return NumberIn(unit, value.value.MinNumber(), value.value.MaxNumber());
  if (value.value.CellValueType() == ktformula::kCellValueTypeString)
    return Quoted(value.value.Text());
  return Brief(ValueText(value.value));
}

// Lines of a story, each indented and cut to the width.
class Story {
 public:
  explicit Story(const TableStyle& style)
      : style_(style), width_(style.width > 0 ? style.width : kWidestText) {}

  // Of printable text; "" for an empty line.
  void Add(int level, std::u16string_view line, bool is_error = false) {
    const std::string indented = ToUtf8(
        CutToWidth(std::u16string(static_cast<std::size_t>(level) * 2, u' ').append(line), width_));
    const bool is_red = is_error && style_.coloured;
    text_ += is_red ? std::string(kRed) + indented + std::string(kPlain) : indented;
    text_ += '\n';
  }

  std::string Text() && { return std::move(text_); }

 private:
  const TableStyle& style_;
  int width_;
  std::string text_;
};

// Of a step that is a cell: what it holds, and who says so.
std::u16string CellPhrase(const ExplainedStep& step) {
  const NotebookCell& cell = CellOf(*step.cell);
  const std::u16string name = Brief(NameInForm(*step.cell));
  const std::u16string shown = Brief(ShownText(cell, ktformula::UserLocale()));
  switch (step.origin) {
    case ValueOrigin::kTyped: return shown + u", typed into " + name;
    case ValueOrigin::kNoted: return Quoted(cell.Text()) + u", noted in " + name;
    case ValueOrigin::kEmpty: return u"empty: nothing is in " + name;
    default: break;
  }
  if (step.is_circular) return shown + u", from " + name + u", which needs itself: a circle";
  if (step.error && !IsSameObject(step.error->cell.get(), step.cell.get())) {
    return u"the error \"" + Brief(step.error->description) + u"\", handed on by " + name +
           u" from " + Brief(NameInForm(*step.error->cell));
  }
  const std::u16string what =
      step.error ? u"the error \"" + Brief(step.error->description) + u"\"" : shown;
  return what + u", computed in " + name + u" by " + Brief(step.formula);
}

// The column of the cells below.
std::u16string ColumnPhrase(const ExplainedStep& step) {
  if (!step.alike) return u"a column without cells";
  const NotebookCell& cell = CellOf(*step.alike);
  return u"the column " +
         Brief(cell.OwningColumn().Parent().Name() + u":" + cell.Definition().name);
}

// Whether it is a name that nothing answers, and not one of a thing without a value.
bool MeansNothing(const ExplainedStep& step) {
  return step.origin == ValueOrigin::kNowhere && step.value && step.value->raised &&
         step.value->raised->Description().find(u"\"Nothing\"") != std::u16string::npos;
}

std::u16string StepPhrase(const ExplainedStep& step, const NotebookUnitCatalogue& units) {
  if (step.cell) return CellPhrase(step);
  if (step.origin == ValueOrigin::kColumn) return ColumnPhrase(step);
  if (MeansNothing(step)) return u"unknown: nothing here has this name";
  const std::u16string outcome = OutcomeText(*step.value, UnitOf(step, units));
  return step.origin == ValueOrigin::kDefinition ? outcome + u", defined as " + Brief(step.formula)
                                                 : outcome;
}

void TellSteps(Story& story, const std::vector<ExplainedStep>& steps,
               const NotebookUnitCatalogue& units, int level, bool are_of_column = false) {
  for (const ExplainedStep& step : steps) {
    // They can be seen in the formula.
    if (step.origin == ValueOrigin::kConstant) continue;
    const std::u16string what = are_of_column ? u"" : Brief(step.source) + u" is ";
    story.Add(level, what + StepPhrase(step, units));
    TellSteps(story, step.steps, units, level + 1, step.origin == ValueOrigin::kColumn);
    if (step.more_rows > 0) story.Add(level + 1, u"and " + Counted(step.more_rows, u"more row"));
  }
}

bool HasMoreThanConstants(const std::vector<ExplainedStep>& steps) {
  for (const ExplainedStep& step : steps) {
    if (step.origin != ValueOrigin::kConstant) return true;
  }
  return false;
}

void TellComputation(Story& story, const Explanation& explanation) {
  const bool has_inputs = HasMoreThanConstants(explanation.steps);
  story.Add(
      0, u"It is computed by " + Printable(explanation.formula) + (has_inputs ? u", where" : u"."));
  TellSteps(story, explanation.steps, UnitsOf(*explanation.cell), 1);
  if (!explanation.shown || !IsNumber(explanation.value)) return;
  const bool is_percentage =
      explanation.shown->pattern.ends_with(u'%') && explanation.shown->unit.empty();
  story.Add(0, u"This gives " +
                   (is_percentage ? ExactText(explanation.value.value.MinNumber() * 100) + u" %"
                                  : OutcomeText(explanation.value, UnitOf(*explanation.cell))) +
                   u".");
}

// CELL "TEXT".
std::u16string Witness(const TableCell& cell) {
  return Printable(AddressOf(CellOf(cell))) + u" " +
         Quoted(CellOf(cell).TextIn(ktformula::UserLocale()));
}

void TellDigits(Story& story, const ktformula::DisplayReasons& reasons) {
  if (!reasons.digits) {
    story.Add(0, reasons.pattern == reasons.format
                     ? u"It is written as its format " + Quoted(reasons.format) + u" says."
                     : u"How many digits it has follows from its size.");
    return;
  }
  const std::u16string digits = Counted(static_cast<std::size_t>(*reasons.digits), u"digit");
  const std::size_t places = reasons.pattern.find_first_not_of(u'0');
  const bool is_longer = places == std::u16string::npos &&
                         reasons.pattern.size() > static_cast<std::size_t>(*reasons.digits);
  const std::u16string has =
      u"It has " + digits + (is_longer ? u" and all in front of the point" : u"");
  if (!reasons.digits_from) {
    story.Add(0, has + u", because nothing was typed in that says how many.");
  } else {
    story.Add(0, has + u", because " + Witness(*reasons.digits_from) + u" has " + digits +
                     u": no entered value has fewer.");
  }
}

void TellUnit(Story& story, const ktformula::DisplayReasons& reasons) {
  if (reasons.unit.empty()) return;
  const std::u16string begin = u"It is in " + reasons.unit;
  if (!reasons.unit_from) {
    story.Add(0, begin + u", the unit of its column.");
  } else if (reasons.unit_from->Text().ends_with(reasons.unit)) {
    story.Add(0, begin + u", because " + Witness(*reasons.unit_from) + u" is.");
  } else {
    story.Add(0, begin + u", which goes with " + Witness(*reasons.unit_from) + u".");
  }
}

void TellError(Story& story, const Explanation& explanation) {
  const ktformula::ArisenError& error = *explanation.error;
  const bool is_own = IsSameObject(error.cell.get(), explanation.cell.get());
  story.Add(0, is_own ? u"The error arose in this cell."
                      : u"The error arose in " + Printable(AddressOf(CellOf(*error.cell))) +
                            u" and was handed on.");
}

// Of a cell that is not computed: what its text stands for.
void TellNumber(Story& story, const Explanation& explanation) {
  const NotebookCell& cell = CellOf(*explanation.cell);
  if (cell.Definition().type != DataType::kNumber || explanation.origin == ValueOrigin::kEmpty)
    return;
  if (std::isnan(cell.MinNumber())) {
    story.Add(0, u"That is no number: formulas can not compute with it.");
    return;
  }
  const NotebookUnit* const unit = cell.Definition().unit;
  std::u16string number = NumberIn(nullptr, cell.MinNumber(), cell.MaxNumber());
  if (unit != nullptr) number += u" " + std::u16string(BaseUnitText(unit->MeasuredQuantity()));
  story.Add(0, u"Formulas read it as " + number + u".");
}

void TellWhatIsThere(Story& story, const Explanation& explanation) {
  switch (explanation.origin) {
    case ValueOrigin::kTyped: story.Add(0, u"It was typed in."); break;
    case ValueOrigin::kNoted: story.Add(0, u"It was noted: it is not an entered quantity."); break;
    default: story.Add(0, u"Nothing was typed in, and its column has no formula."); break;
  }
  TellNumber(story, explanation);
  if (explanation.typed_digits) {
    story.Add(0, u"It counts as a value of " +
                     Counted(static_cast<std::size_t>(*explanation.typed_digits), u"digit") + u".");
  }
}

}  // namespace

std::string ExplanationText(const Explanation& explanation, const TableStyle& style) {
  // All numbers of the story are those of whoever reads it.
  const ktformula::LocaleScope shown_in(style.locale);
  const NotebookCell& cell = CellOf(*explanation.cell);
  Story story(style);
  const std::u16string shown = Printable(ShownText(cell, style.locale));
  story.Add(0, Printable(AddressOf(cell)) + (shown.empty() ? u" is empty" : u" shows " + shown),
            explanation.error.has_value());
  story.Add(0, u"");
  if (explanation.origin != ValueOrigin::kComputed) {
    TellWhatIsThere(story, explanation);
    return std::move(story).Text();
  }
  TellComputation(story, explanation);
  if (explanation.error) TellError(story, explanation);
  if (explanation.shown) {
    TellDigits(story, *explanation.shown);
    TellUnit(story, *explanation.shown);
  }
  return std::move(story).Text();
}

}  // namespace ktnotebook
