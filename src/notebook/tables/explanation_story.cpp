#include "notebook/tables/explanation_story.h"

#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include "notebook/tables/shown_text.h"
#include "values/number_text.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

using ktformula::ExplainedStep;
using ktformula::ExplainedValue;
using ktformula::Explanation;
using ktformula::TableCell;
using ktformula::ValueOrigin;

const NotebookCell& CellOf(const TableCell& cell) {
  return static_cast<const CellObject&>(cell).Cell();
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

// Whether it is a name that nothing answers, and not one of a thing without a value.
bool MeansNothing(const ExplainedStep& step) {
  return step.origin == ValueOrigin::kNowhere && step.value && step.value->raised &&
         step.value->raised->Description().find(u"\"Nothing\"") != std::u16string::npos;
}

bool HasMoreThanConstants(const std::vector<ExplainedStep>& steps) {
  for (const ExplainedStep& step : steps) {
    if (step.origin != ValueOrigin::kConstant) return true;
  }
  return false;
}

class Teller {
 public:
  explicit Teller(const StoryWords& words) : words_(words) {}

  std::vector<StoryLine> Tell(const Explanation& explanation) && {
    const NotebookCell& cell = CellOf(*explanation.cell);
    const std::u16string shown = Whole(ShownText(cell, ktformula::UserLocale()));
    Add(0, Whole(AddressOf(cell)) + (shown.empty() ? u" is empty" : u" shows " + shown));
    lines_.back().is_error = explanation.error.has_value();
    Add(0, u"");
    if (explanation.origin != ValueOrigin::kComputed) {
      TellWhatIsThere(explanation);
      return std::move(lines_);
    }
    TellComputation(explanation);
    if (explanation.error) TellError(explanation);
    if (explanation.shown) {
      TellDigits(*explanation.shown);
      TellUnit(*explanation.shown);
    }
    return std::move(lines_);
  }

 private:
  void Add(int level, std::u16string text, const TableCell* about = nullptr) {
    lines_.push_back({level, std::move(text)});
    if (about != nullptr) lines_.back().cell = AddressOf(CellOf(*about));
  }
  std::u16string Whole(std::u16string_view text) const { return words_.whole(text); }
  std::u16string Brief(std::u16string_view text) const { return words_.brief(text); }
  std::u16string Quoted(std::u16string_view text) const { return u"\"" + Brief(text) + u"\""; }

  std::u16string OutcomeText(const ExplainedValue& value, const NotebookUnit* unit) const {
    if (value.raised) return u"an error: " + Brief(value.raised->Description());
    if (value.value.CellValueType() == ktformula::kCellValueTypeError)
      return u"an error: " + Brief(value.value.ErrorDescription());
    if (IsNumber(value)) return NumberIn(unit, value.value.MinNumber(), value.value.MaxNumber());
    if (value.value.CellValueType() == ktformula::kCellValueTypeString)
      return Quoted(value.value.Text());
    return Brief(ValueText(value.value));
  }

  // Of a step that is a cell: what it holds, and who says so.
  std::u16string CellPhrase(const ExplainedStep& step) const {
    const NotebookCell& cell = CellOf(*step.cell);
    const std::u16string name = Brief(NameInForm(CellOf(*step.cell)));
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
             u" from " + Brief(NameInForm(CellOf(*step.error->cell)));
    }
    const std::u16string what =
        step.error ? u"the error \"" + Brief(step.error->description) + u"\"" : shown;
    return what + u", computed in " + name + u" by " + Brief(step.formula);
  }

  // The column of the cells below.
  std::u16string ColumnPhrase(const ExplainedStep& step) const {
    if (!step.alike) return u"a column without cells";
    const NotebookCell& cell = CellOf(*step.alike);
    return u"the column " +
           Brief(cell.OwningColumn().Parent().Name() + u":" + cell.Definition().name);
  }

  std::u16string StepPhrase(const ExplainedStep& step, const NotebookUnitCatalogue& units) const {
    if (step.cell) return CellPhrase(step);
    if (step.origin == ValueOrigin::kColumn) return ColumnPhrase(step);
    if (MeansNothing(step)) return u"unknown: nothing here has this name";
    const std::u16string outcome = OutcomeText(*step.value, UnitOf(step, units));
    return step.origin == ValueOrigin::kDefinition
               ? outcome + u", defined as " + Brief(step.formula)
               : outcome;
  }

  void TellSteps(const std::vector<ExplainedStep>& steps, const NotebookUnitCatalogue& units,
                 int level, bool are_of_column = false) {
    for (const ExplainedStep& step : steps) {
      // They can be seen in the formula.
      if (step.origin == ValueOrigin::kConstant) continue;
      const std::u16string what = are_of_column ? u"" : Brief(step.source) + u" is ";
      Add(level, what + StepPhrase(step, units), step.cell.get());
      TellSteps(step.steps, units, level + 1, step.origin == ValueOrigin::kColumn);
      if (step.more_rows > 0) Add(level + 1, u"and " + Counted(step.more_rows, u"more row"));
    }
  }

  void TellComputation(const Explanation& explanation) {
    const bool has_inputs = HasMoreThanConstants(explanation.steps);
    Add(0, u"It is computed by " + Whole(explanation.formula) + (has_inputs ? u", where" : u"."));
    TellSteps(explanation.steps, UnitsOf(*explanation.cell), 1);
    if (!explanation.shown || !IsNumber(explanation.value)) return;
    const bool is_percentage =
        explanation.shown->pattern.ends_with(u'%') && explanation.shown->unit.empty();
    Add(0, u"This gives " +
               (is_percentage ? ExactText(explanation.value.value.MinNumber() * 100) + u" %"
                              : OutcomeText(explanation.value, UnitOf(*explanation.cell))) +
               u".");
  }

  // CELL "TEXT".
  std::u16string Witness(const TableCell& cell) const {
    return Whole(AddressOf(CellOf(cell))) + u" " +
           Quoted(CellOf(cell).TextIn(ktformula::UserLocale()));
  }

  void TellDigits(const ktformula::DisplayReasons& reasons) {
    if (!reasons.digits) {
      Add(0, reasons.pattern == reasons.format
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
      Add(0, has + u", because nothing was typed in that says how many.");
    } else {
      Add(0,
          has + u", because " + Witness(*reasons.digits_from) + u" has " + digits +
              u": no entered value has fewer.",
          reasons.digits_from.get());
    }
  }

  void TellUnit(const ktformula::DisplayReasons& reasons) {
    if (reasons.unit.empty()) return;
    const std::u16string begin = u"It is in " + reasons.unit;
    if (!reasons.unit_from) {
      Add(0, begin + u", the unit of its column.");
    } else if (reasons.unit_from->Text().ends_with(reasons.unit)) {
      Add(0, begin + u", because " + Witness(*reasons.unit_from) + u" is.",
          reasons.unit_from.get());
    } else {
      Add(0, begin + u", which goes with " + Witness(*reasons.unit_from) + u".",
          reasons.unit_from.get());
    }
  }

  void TellError(const Explanation& explanation) {
    const ktformula::ArisenError& error = *explanation.error;
    const bool is_own = IsSameObject(error.cell.get(), explanation.cell.get());
    if (is_own) return Add(0, u"The error arose in this cell.");
    Add(0, u"The error arose in " + Whole(AddressOf(CellOf(*error.cell))) + u" and was handed on.",
        error.cell.get());
  }

  // Of a cell that is not computed: what its text stands for.
  void TellNumber(const Explanation& explanation) {
    const NotebookCell& cell = CellOf(*explanation.cell);
    if (cell.Definition().type != DataType::kNumber || explanation.origin == ValueOrigin::kEmpty)
      return;
    if (std::isnan(cell.MinNumber())) {
      Add(0, u"That is no number: formulas can not compute with it.");
      return;
    }
    const NotebookUnit* const unit = cell.Definition().unit;
    std::u16string number = NumberIn(nullptr, cell.MinNumber(), cell.MaxNumber());
    if (unit != nullptr) number += u" " + std::u16string(BaseUnitText(unit->MeasuredQuantity()));
    Add(0, u"Formulas read it as " + number + u".");
  }

  void TellWhatIsThere(const Explanation& explanation) {
    switch (explanation.origin) {
      case ValueOrigin::kTyped: Add(0, u"It was typed in."); break;
      case ValueOrigin::kNoted: Add(0, u"It was noted: it is not an entered quantity."); break;
      default: Add(0, u"Nothing was typed in, and its column has no formula."); break;
    }
    TellNumber(explanation);
    if (explanation.typed_digits) {
      Add(0, u"It counts as a value of " +
                 Counted(static_cast<std::size_t>(*explanation.typed_digits), u"digit") + u".");
    }
  }

  const StoryWords& words_;
  std::vector<StoryLine> lines_;
};

}  // namespace

std::vector<StoryLine> ExplanationStory(const Explanation& explanation,
                                        const ktformula::Locale& locale, const StoryWords& words) {
  // All numbers of the story are those of whoever reads it.
  const ktformula::LocaleScope shown_in(locale);
  return Teller(words).Tell(explanation);
}

}  // namespace ktnotebook
