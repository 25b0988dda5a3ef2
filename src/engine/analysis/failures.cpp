#include "analysis/failures.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "analysis/error_messages.h"
#include "analysis/formula_parts.h"
#include "analysis/watched_evaluation.h"

#include "values/raised_error.h"

namespace ktformula {

namespace {

constexpr std::size_t kWatchedTerms = 200'000;
constexpr std::size_t kTermsOfADefinition = 5'000;
// Reasons of one formula that are told apart.
constexpr std::size_t kMostReasons = 5;

constexpr std::u16string_view KindText(CellValueTypeEnum kind) noexcept {
  switch (kind) {
    case kCellValueTypeString: return u"a text without a truth value";
    case kCellValueTypeDate: return u"a date";
    case kCellValueTypeStructure: return u"a structure";
    default: return u"nothing";
  }
}

// What using a value as a definition's raises; empty when it can be taken over.
std::optional<std::u16string> RefusalOf(const CellValue& value) {
  try {
    CellValue().CopyFrom(value);
  } catch (const RaisedError& error) {
    return error.Description();
  }
  return std::nullopt;
}

// Whether the error is that of definitions that need each other, which are told of on their own.
bool IsOfRing(std::u16string_view description) {
  return description.starts_with(u"the definition \"") &&
         description.ends_with(u"\" refers to itself");
}

// Notes which columns an evaluation reads.
class ColumnsObserver final : public FormulaObserver {
 public:
  ColumnsObserver(Effort& effort, const ObservedForm& form)
      : FormulaObserver(effort), form_(form) {}

  const std::set<std::size_t>& Columns() const noexcept { return columns_; }

 private:
  void Read(const TableCell& cell) override {
    if (const auto place = form_.PlaceOf(cell)) columns_.insert(place->column);
  }
  void ReadAll(const TableProperty& column) override {
    if (const auto number = form_.NumberOf(column)) columns_.insert(*number);
  }

  const ObservedForm& form_;
  std::set<std::size_t> columns_;
};

// The definitions of one listener that have no usable value.
class DefinitionStudy {
 public:
  DefinitionStudy(const ObservedForm& form, const WatchedTable& table, FormulaListener& listener)
      : form_(form), table_(table), listener_(listener) {
    if (!AreDefinitionsPure(listener)) return;
    for (const auto& entry : listener.Configuration().definitions.Entries())
      Look(entry);
  }

  void Tell(std::vector<Problem>& problems) const {
    for (const Failure& failure : failures_) {
      if (failure.kind != kCellValueTypeError) {
        problems.push_back(UnusableProblem(failure));
      } else if (!IsHandedOn(failure)) {
        problems.push_back(ProblemOf(ProblemCode::kFailing, failure));
        problems.back().message = failure.description;
        problems.back().help = HelpWithError(failure.description);
      }
    }
  }

  // Whether a formula fails like this because of a definition that it refers to.
  bool Explains(const std::vector<std::u16string>& references,
                std::u16string_view description) const {
    return std::any_of(failures_.begin(), failures_.end(), [&](const Failure& failure) {
      return failure.description == description &&
             std::binary_search(references.begin(), references.end(), failure.name);
    });
  }

 private:
  struct Failure {
    std::u16string name;
    std::shared_ptr<PropertyFormula> formula;
    // Of the value; kCellValueTypeError where it is none.
    CellValueTypeEnum kind;
    // What cells show that use the definition.
    std::u16string description;
    // The columns that it reads.
    std::set<std::size_t> columns;
  };

  void Look(const FormulaDictionary::Entry& entry) {
    Effort effort(kTermsOfADefinition);
    ColumnsObserver observer(effort, form_);
    CellValue value;
    const bool is_known = WatchDefinitions(listener_, observer, [&] {
      if (const auto defined = listener_.DefinedValue(entry.key)) value = *defined;
    });
    if (!is_known) return;
    std::optional<std::u16string> description = RefusalOf(value);
    if (value.CellValueType() == kCellValueTypeError) description = value.ErrorDescription();
    if (!description) return;
    failures_.push_back({entry.key, entry.formula, value.CellValueType(), std::move(*description),
                         observer.Columns()});
  }

  // Whether what it reads says why, or a ring that it is in, or its text.
  bool IsHandedOn(const Failure& failure) const {
    const auto says_why = [&](std::size_t column) {
      return form_.ShownErrors(column).contains(failure.description) ||
             form_.MissingNumbers(column).contains(failure.description);
    };
    if (std::any_of(failure.columns.begin(), failure.columns.end(), says_why)) return true;
    if (IsOfRing(failure.description)) return true;
    const auto tree = DefinitionTree(listener_, *failure.formula);
    return tree == nullptr || Explains(ReferencesOf(*tree), failure.description);
  }

  Problem UnusableProblem(const Failure& failure) const {
    Problem problem = ProblemOf(ProblemCode::kUnusableDefinition, failure);
    problem.message = u"the definition \"" + failure.name + u"\" has " +
                      std::u16string(KindText(failure.kind)) +
                      u" for its value, which formulas can not take over";
    problem.help = u"write the expression where it is needed instead of the definition's name";
    return problem;
  }

  Problem ProblemOf(ProblemCode code, const Failure& failure) const {
    Problem problem(code);
    problem.table = table_.table;
    problem.definition = failure.name;
    problem.formula = failure.formula->Formula;
    return problem;
  }

  const ObservedForm& form_;
  const WatchedTable& table_;
  FormulaListener& listener_;
  std::vector<Failure> failures_;
};

// Looks for a cell that hands its error on to another.
class HandingObserver final : public FormulaObserver {
 public:
  HandingObserver(Effort& effort, const ObservedForm& form)
      : FormulaObserver(effort), form_(form) {}

  void StartAt(const CellPlace& reader, std::u16string_view description) {
    reader_ = reader;
    shown_ = std::u16string(kErrorPrefix) + std::u16string(description);
    is_found_ = false;
  }
  bool IsFound() const noexcept { return is_found_; }

 private:
  void Read(const TableCell& cell) override {
    if (is_found_ || cell.Text() != shown_) return;
    const auto place = form_.PlaceOf(cell);
    is_found_ = place && *place != reader_ && form_.At(place->column).Computes(place->row);
  }

  const ObservedForm& form_;
  CellPlace reader_;
  std::u16string shown_;
  bool is_found_ = false;
};

// The errors that the cells of one column show.
class ColumnFailures {
 public:
  ColumnFailures(const ObservedForm& form, const Rings& rings, std::size_t column,
                 const DefinitionStudy* definitions, Effort& effort)
      : form_(form),
        rings_(rings),
        number_(column),
        column_(form.At(column)),
        definitions_(definitions),
        effort_(effort) {
    if (column_.has_definitions) references_ = ReferencesOf(*column_.tree);
  }

  void Find() {
    std::vector<std::size_t> unclear;
    for (const std::size_t row : form_.ErrorRows(number_)) {
      if (rings_.Contains({number_, row})) continue;
      const std::u16string description = DescriptionAt(row);
      switch (CauseOf(row, description)) {
        case Cause::kMissing: NoteMissing(row); break;
        case Cause::kOwn: NoteOwn(row, description); break;
        case Cause::kUnclear: unclear.push_back(row); break;
        case Cause::kElsewhere: break;
      }
    }
    LookAtUnclear(unclear);
  }

  void Tell(bool has_known_error, std::vector<Problem>& problems) {
    if (missing_.rows != 0) problems.push_back(MissingProblem());
    if (has_known_error) return;
    for (const Reason& reason : reasons_) {
      Problem problem = form_.ProblemOf(ProblemCode::kFailing, number_);
      problem.row = reason.first_row;
      problem.rows = reason.rows;
      problem.message = reason.description;
      problem.help = HelpWithError(reason.description);
      problem.place = FindPlace(column_, reason.first_row, effort_);
      TellOnce(std::move(problem), problems);
    }
  }

 private:
  enum class Cause {
    kOwn,
    kMissing,
    // A cell that is read, or a definition.
    kElsewhere,
    // Perhaps another cell of the columns that read each other.
    kUnclear,
  };
  struct Reason {
    std::u16string description;
    std::size_t first_row = 0;
    std::size_t rows = 0;
  };
  struct Missing {
    CellPlace cell;
    std::size_t first_row = 0;
    std::size_t rows = 0;
  };

  std::u16string DescriptionAt(std::size_t row) const {
    return std::u16string(column_.cells.Text(row).substr(kErrorPrefix.size()));
  }

  Cause CauseOf(std::size_t row, const std::u16string& description) {
    found_missing_.reset();
    bool is_unclear = false;
    for (const std::size_t read : column_.own) {
      if (Leads({read, row}, description)) return Cause::kElsewhere;
    }
    for (const ColumnUse& read : column_.others) {
      if (read.row) {
        if (Leads({read.column, *read.row}, description)) return Cause::kElsewhere;
        continue;
      }
      // Of what may be read, as far as anybody knows, only columns in front are asked.
      if (!column_.reads_are_known && read.column >= number_) continue;
      if (form_.ShownErrors(read.column).contains(description)) {
        if (!MayReadThisColumn(read.column)) return Cause::kElsewhere;
        is_unclear = true;
      }
      const FirstRows& missing = form_.MissingNumbers(read.column);
      const auto found = missing.find(description);
      if (found != missing.end()) found_missing_ = CellPlace{read.column, found->second};
    }
    if (is_unclear) return Cause::kUnclear;
    if (found_missing_) return Cause::kMissing;
    return IsOfDefinition(description) ? Cause::kElsewhere : Cause::kOwn;
  }

  bool IsOfDefinition(std::u16string_view description) const {
    return IsOfRing(description) ||
           (definitions_ != nullptr && definitions_->Explains(references_, description));
  }

  // Whether the cell shows the error. Notes a missing number that leads to it.
  bool Leads(const CellPlace& read, const std::u16string& description) {
    const ObservedColumn& column = form_.At(read.column);
    if (column.cells.HasNumbers() && !std::isnan(column.cells.Min(read.row))) return false;
    const std::u16string_view text = column.cells.Text(read.row);
    if (column.Computes(read.row)) {
      return text.starts_with(kErrorPrefix) && text.substr(kErrorPrefix.size()) == description;
    }
    if (column.property->IsNumeric() && std::isnan(column.cells.Min(read.row)) &&
        MissingDescription(text) == description) {
      found_missing_ = read;
    }
    return false;
  }

  bool MayReadThisColumn(std::size_t column) const {
    const std::size_t ring = rings_.column_rings[number_];
    return ring != 0 && rings_.column_rings[column] == ring;
  }

  void LookAtUnclear(const std::vector<std::size_t>& rows) {
    if (rows.empty() || !column_.can_be_watched || effort_.IsSpent()) return;
    HandingObserver observer(effort_, form_);
    WatchRows(column_, observer, [&](const EvaluateRow& evaluate) {
      for (const std::size_t row : rows) {
        const std::u16string description = DescriptionAt(row);
        observer.StartAt({number_, row}, description);
        evaluate(row);
        if (observer.IsFound()) continue;
        CauseOf(row, description);
        if (found_missing_) {
          NoteMissing(row);
        } else if (!IsOfDefinition(description)) {
          NoteOwn(row, description);
        }
      }
    });
  }

  void NoteMissing(std::size_t row) {
    if (missing_.rows++ == 0) {
      missing_.cell = *found_missing_;
      missing_.first_row = row;
    }
  }

  void NoteOwn(std::size_t row, const std::u16string& description) {
    auto reason = std::find_if(reasons_.begin(), reasons_.end(), [&](const Reason& known) {
      return known.description == description;
    });
    if (reason == reasons_.end()) {
      if (reasons_.size() < kMostReasons) {
        reasons_.push_back({description, row, 0});
      }
      reason = reasons_.end() - 1;
    }
    ++reason->rows;
  }

  // Texts that differ in what they quote, such as those of two dates, are one problem at one place.
  static void TellOnce(Problem problem, std::vector<Problem>& problems) {
    const auto known = std::find_if(problems.begin(), problems.end(), [&](const Problem& other) {
      return other.code == problem.code && other.place == problem.place &&
             IsSameObject(other.column.get(), problem.column.get());
    });
    if (known == problems.end()) {
      problems.push_back(std::move(problem));
    } else {
      *known->rows += *problem.rows;
    }
  }

  Problem MissingProblem() {
    Problem problem = form_.ProblemOf(ProblemCode::kNoNumber, number_);
    problem.row = missing_.first_row;
    problem.rows = missing_.rows;
    problem.message =
        DescriptionAt(missing_.first_row) + u" (in " + form_.NameOf(missing_.cell) + u")";
    const auto is_cell = [this](const TableCell& cell) {
      return form_.PlaceOf(cell) == missing_.cell;
    };
    const auto is_column = [this](const TableProperty& column) {
      return form_.NumberOf(column) == missing_.cell.column;
    };
    problem.place = FindPlace(column_, missing_.first_row, effort_, {is_cell, is_column});
    problem.help = u"type a number in, empty the cell, or say with ONERROR what is to be shown";
    return problem;
  }

  const ObservedForm& form_;
  const Rings& rings_;
  std::size_t number_;
  const ObservedColumn& column_;
  const DefinitionStudy* definitions_;
  Effort& effort_;
  std::vector<std::u16string> references_;
  std::optional<CellPlace> found_missing_;
  Missing missing_;
  std::vector<Reason> reasons_;
};

bool IsErrorOf(const Problem& problem, const TableProperty& column) {
  return problem.severity == Severity::kError && problem.code != ProblemCode::kFormat &&
         !problem.definition && IsSameObject(problem.column.get(), &column);
}

bool IsErrorOf(const Problem& problem, const Problem& of_definition) {
  return problem.severity == Severity::kError && problem.definition == of_definition.definition &&
         IsSameObject(problem.table.get(), of_definition.table.get());
}

}  // namespace

std::vector<Problem> FindFailures(const ObservedForm& form, const Rings& rings,
                                  std::span<const Problem> known) {
  std::vector<Problem> problems;
  std::map<const FormulaListener*, DefinitionStudy> definitions;
  for (const WatchedTable& table : form.Form().tables) {
    for (const Ref<FormulaListener>& listener : table.listeners) {
      definitions.try_emplace(listener.get(), form, table, *listener).first->second.Tell(problems);
    }
  }
  std::erase_if(problems, [known](const Problem& problem) {
    return problem.code == ProblemCode::kFailing &&
           std::any_of(known.begin(), known.end(),
                       [&](const Problem& other) { return IsErrorOf(other, problem); });
  });
  Effort effort(kWatchedTerms);
  for (std::size_t number = 0; number < form.Columns().size(); ++number) {
    const ObservedColumn& column = form.At(number);
    if (!column.IsComputed() || column.tree == nullptr || form.ErrorRows(number).empty()) continue;
    const auto study = definitions.find(column.listener);
    ColumnFailures failures(form, rings, number,
                            study != definitions.end() ? &study->second : nullptr, effort);
    failures.Find();
    const bool has_known_error =
        std::any_of(known.begin(), known.end(),
                    [&](const Problem& problem) { return IsErrorOf(problem, *column.column); });
    failures.Tell(has_known_error, problems);
  }
  return problems;
}

}  // namespace ktformula
