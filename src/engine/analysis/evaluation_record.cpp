#include "analysis/evaluation_record.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "analysis/sketch.h"

#include "functions/function_table.h"
#include "values/text.h"

namespace ktformula {

namespace {

// Counting references is no change of an object.
template <typename Object>
Ref<Object> Hold(const Object& object) {
  return Ref<Object>(const_cast<Object*>(&object));
}

// The places of the parts of all trees that an evaluation may come across.
class SourceMaps {
 public:
  explicit SourceMaps(const FormulaListener& listener) : listener_(listener) {}

  const SourceMap& Add(std::shared_ptr<const TokenTree> tree) {
    const TokenTree* const key = tree.get();
    return maps_.try_emplace(key, std::move(tree)).first->second;
  }

  // The tree's that the item belongs to, of the formula or of the definition of this name; nullptr
  // for any other, such as one that a function of the host evaluates.
  const SourceMap* Find(const LayerItem& item, const std::u16string* definition) {
    const auto known = maps_.find(&item.Tree());
    if (known != maps_.end()) return &known->second;
    if (definition == nullptr) return nullptr;
    const auto formula = listener_.Configuration().definitions.Find(*definition);
    const bool is_its = formula != nullptr && formula->TokenTree.get() == &item.Tree();
    return is_its ? &Add(formula->TokenTree) : nullptr;
  }

 private:
  const FormulaListener& listener_;
  std::map<const TokenTree*, SourceMap> maps_;
};

bool IsFirstArgument(const LayerItem& call, const LayerItem& argument) {
  const TokenLayer args = call.Other(call.Index() + 1).Layer();
  return args.Count() > 0 && args.Item(0).Index() == argument.Index();
}

// The steps of a call in one row.
struct RowSteps {
  Ref<NotebookObject> row;
  std::vector<ExplainedStep> steps;
  // Whether the call takes the row, as far as it is known.
  bool is_taken = false;
};

// What is told of a formula, or a layer of one, as far as it is evaluated.
struct Running {
  bool has_begun = false;
  Sketch value;
  Sketch operand;

  void Take(const Sketch& sketch) {
    (has_begun ? operand : value) = sketch;
    has_begun = true;
  }
  void Apply(const Step& step) {
    const bool is_arithmetic = step.kind == StepKind::kOperation && IsArithmetic(step.word);
    value = is_arithmetic ? SketchOfArithmetic(value, step.word, operand) : Sketch();
  }
};

// A term under evaluation.
struct Frame {
  Frame(const Term& its_term, const LayerItem& its_item, NotebookObject* its_anchor)
      : term(&its_term), item(its_item), anchor(its_anchor) {}

  bool IsCall() const { return term->kind == TermKind::kCall; }
  // Layers are no steps but their operands are, and what stands in for a missing left side is none.
  bool IsStep() const {
    if (term->kind == TermKind::kLayer || term->kind == TermKind::kRefusal) return false;
    return item.TokenType() != kFormulaTokenTypeSymbol;
  }

  const Term* term;
  LayerItem item;
  NotebookObject* anchor;
  // nullptr where nothing is written down.
  const SourceMap* map = nullptr;
  ExplainedStep step;
  Running running;
  // Of a call: the row that it is in, and how many it took before.
  RowSteps row;
  std::size_t rows_taken = 0;
};

ValueOrigin OriginOf(const Term& term) {
  switch (term.kind) {
    case TermKind::kCall:
    case TermKind::kFunction: return ValueOrigin::kComputed;
    default: return ValueOrigin::kConstant;
  }
}

// Unless it is a definition's, or a cell's.
ValueOrigin OriginOfReference(const ExplainedValue& value) {
  const bool is_structure = !value.raised && value.value.CellValueType() == kCellValueTypeStructure;
  return is_structure ? ValueOrigin::kTyped : ValueOrigin::kNowhere;
}

Ref<TableCell> AlikeOperand(const ExplainedStep& step) {
  if (!step.dimension) return nullptr;
  for (const ExplainedStep& operand : step.steps) {
    const Ref<ELNProperty> property = operand.alike ? operand.alike->Property() : nullptr;
    if (property && DimensionOf(*property) == step.dimension) return operand.alike;
  }
  return nullptr;
}

void Append(std::vector<ExplainedStep>& steps, std::vector<ExplainedStep>&& more) {
  std::move(more.begin(), more.end(), std::back_inserter(steps));
}

class Recorder final : public EvaluationObserver {
 public:
  Recorder(const FormulaListener& listener, EvaluationRecord& record)
      : maps_(listener), record_(record) {}

  SourceMaps& Maps() { return maps_; }

  void BeginTerm(const Term& term, const LayerItem& item,
                 const EvaluationContext& context) override {
    Frame frame(term, item, context.anchor);
    if (IsWritingDown()) {
      frame.map = maps_.Find(item, definitions_.empty() ? nullptr : &definitions_.back().name);
    }
    frames_.push_back(std::move(frame));
  }

  void EndTerm(const CellValue& value, const RaisedError* raised) override {
    Frame frame = std::move(frames_.back());
    frames_.pop_back();
    CloseRow(frame);
    Frame* const call = !frames_.empty() && frames_.back().IsCall() ? &frames_.back() : nullptr;
    std::vector<ExplainedStep>& steps =
        call != nullptr ? StepsOfArgument(*call, frame, value, raised) : StepsAround();
    if (frame.map == nullptr) return;
    if (raised == nullptr) TakeSketch(frame);
    if (!frame.IsStep()) return Append(steps, std::move(frame.step.steps));
    Complete(frame, value, raised);
    steps.push_back(std::move(frame.step));
  }

  void ApplyStep(const Step& step, const LayerItem&, const CellValue&, const CellValue&) override {
    RunningAround().Apply(step);
  }

  void ReadCell(const TableCell& cell) override {
    NoteError(cell);
    if (!IsInStep()) return;
    frames_.back().step.cell = frames_.back().step.alike = Hold(cell);
    frames_.back().running.value = SketchOfCell(cell.Property().get());
  }

  void ReadNote(const TableCell& cell) override {
    if (!IsInStep()) return;
    ExplainedStep step = ArgumentStep();
    step.origin = ValueOrigin::kNoted;
    step.cell = Hold(cell);
    frames_.back().step.steps.push_back(std::move(step));
  }

  void ReadColumn(const TableProperty& column) override {
    record_.columns_read.push_back(Hold(column));
    if (!IsInStep()) return;
    ExplainedStep step = ArgumentStep();
    step.origin = ValueOrigin::kColumn;
    const auto count = static_cast<std::size_t>(column.CellCount());
    const std::size_t written = std::min(count, kRowsWrittenDown);
    for (std::size_t row = 1; row <= written; ++row) {
      ExplainedStep& cell = step.steps.emplace_back();
      cell.place = step.place;
      cell.source = step.source;
      cell.cell = cell.alike = column.Cell(static_cast<int>(row));
      cell.value = ValueOfCell(*cell.cell);
    }
    step.more_rows = count - written;
    if (written > 0) step.alike = step.steps.front().cell;
    frames_.back().running.value = SketchOfCell(column.Property().get());
    frames_.back().step.steps.push_back(std::move(step));
  }

  void BeginDefinition(std::u16string_view name) override {
    definitions_.push_back({std::u16string(name), frames_.size(), {}, {}});
  }

  // A definition is evaluated once: wherever it is read again, its steps were the same.
  void EndDefinition() override {
    Definition definition = std::move(definitions_.back());
    definitions_.pop_back();
    Definition& known = known_definitions_[definition.name];
    if (!definition.steps.empty()) known = std::move(definition);
    if (!IsInStep()) return;
    frames_.back().step.origin = ValueOrigin::kDefinition;
    frames_.back().step.steps = known.steps;
    frames_.back().running.value = known.running.value;
  }

 private:
  struct Definition {
    std::u16string name;
    // How many frames there are outside.
    std::size_t frames = 0;
    std::vector<ExplainedStep> steps;
    Running running;
  };

  // Whether frames that begin now are those of a definition, without one between.
  bool IsAtTopOfDefinition() const {
    return !definitions_.empty() && definitions_.back().frames == frames_.size();
  }

  bool IsWritingDown() const {
    if (frames_.empty() || IsAtTopOfDefinition()) return true;
    const Frame& around = frames_.back();
    return around.map != nullptr && !(around.IsCall() && around.rows_taken >= kRowsWrittenDown);
  }

  bool IsInStep() const { return !frames_.empty() && frames_.back().map != nullptr; }

  std::vector<ExplainedStep>& StepsAround() {
    if (IsAtTopOfDefinition()) return definitions_.back().steps;
    return frames_.empty() ? record_.steps : frames_.back().step.steps;
  }

  Running& RunningAround() {
    if (IsAtTopOfDefinition()) return definitions_.back().running;
    return frames_.empty() ? running_ : frames_.back().running;
  }

  // Tells the term around a term, or what is around it, what its value is.
  void TakeSketch(Frame& frame) {
    if (frame.term->kind == TermKind::kNumber) {
      frame.running.value = SketchOfNumeral(frame.item.Number());
    } else if (frame.term->kind == TermKind::kZero) {
      frame.running.value = SketchOfNumeral(0);
    } else if (frame.IsCall() && UpperCase(frame.item.TokenText()) == u"COUNT") {
      frame.running.value = SketchOfCount();
    }
    frame.step.dimension = frame.running.value.dimension;
    if (!frames_.empty() && frames_.back().IsCall() && !IsAtTopOfDefinition()) {
      TakeArgument(frames_.back(), frame);
    } else {
      RunningAround().Take(frame.running.value);
    }
  }

  // The language's own functions give what they evaluated last: in rows that is the first argument.
  static void TakeArgument(Frame& call, const Frame& argument) {
    const bool is_in_row = argument.anchor != call.anchor;
    const bool gives = !is_in_row || IsFirstArgument(call.item, argument.item);
    if (gives && call.item.Function()->IsPure() &&
        FindFunctionRow(UpperCase(call.item.TokenText())) != nullptr) {
      call.running.value = argument.running.value;
    }
  }

  // Where the steps of an argument go that was just evaluated: those of other anchors than the
  // call's own belong to rows.
  static std::vector<ExplainedStep>& StepsOfArgument(Frame& call, const Frame& argument,
                                                     const CellValue& value,
                                                     const RaisedError* raised) {
    if (argument.anchor == call.anchor || argument.anchor == nullptr) return call.step.steps;
    if (!IsSameObject(call.row.row.get(), argument.anchor)) {
      CloseRow(call);
      call.row.row = Ref<NotebookObject>(argument.anchor);
    }
    // What follows a condition is evaluated only in rows for which it holds.
    const bool holds = raised == nullptr && value.IsBoolean() && value.BooleanValue();
    call.row.is_taken = IsFirstArgument(call.item, argument.item) || holds;
    return call.row.steps;
  }

  static void CloseRow(Frame& call) {
    const RowSteps row = std::exchange(call.row, {});
    if (!row.is_taken) return;
    ++call.rows_taken;
    if (call.rows_taken > kRowsWrittenDown) {
      ++call.step.more_rows;
    } else {
      Append(call.step.steps, std::vector<ExplainedStep>(row.steps));
    }
  }

  static void Complete(Frame& frame, const CellValue& value, const RaisedError* raised) {
    ExplainedStep& step = frame.step;
    step.place = frame.map->Of(*frame.term, frame.item);
    step.source = frame.map->Text(step.place);
    step.value.emplace();
    step.value->value = value;
    if (raised != nullptr) step.value->raised = *raised;
    if (!step.alike) step.alike = AlikeOperand(step);
    if (step.origin == ValueOrigin::kDefinition) return;
    step.origin = frame.term->kind == TermKind::kReference ? OriginOfReference(*step.value)
                                                           : OriginOf(*frame.term);
  }

  // A reference that a function looks at and does not evaluate; it is the first argument.
  ExplainedStep ArgumentStep() const {
    const Frame& call = frames_.back();
    const LayerItem argument = call.item.Other(call.item.Index() + 1).Layer().Item(0);
    ExplainedStep step;
    step.place = call.map->Of(argument);
    step.source = call.map->Text(step.place);
    return step;
  }

  void NoteError(const TableCell& cell) {
    const std::u16string text = cell.Text();
    if (!text.starts_with(kErrorPrefix)) return;
    std::u16string description = text.substr(kErrorPrefix.size());
    const bool is_known =
        std::any_of(record_.errors_read.begin(), record_.errors_read.end(),
                    [&](const auto& error) { return error.first == description; });
    if (!is_known) record_.errors_read.emplace_back(std::move(description), Hold(cell));
  }

  SourceMaps maps_;
  EvaluationRecord& record_;
  std::vector<Frame> frames_;
  std::vector<Definition> definitions_;
  std::map<std::u16string, Definition> known_definitions_;
  Running running_;
};

}  // namespace

EvaluationRecord RecordEvaluation(FormulaListener& listener, TableCell& cell,
                                  std::u16string_view formula) {
  EvaluationRecord record;
  Recorder recorder(listener, record);
  try {
    const std::shared_ptr<const TokenTree> tree = listener.MakeTokenTree(formula);
    recorder.Maps().Add(tree);
    listener.InOnePass([&](const FormulaListener::EvaluateTree& evaluate) {
      const Observation observation(&recorder);
      evaluate(*tree, cell, record.value.value);
    });
  } catch (const RaisedError& error) {
    record.value.raised = error;
  }
  return record;
}

ExplainedValue ValueOfCell(const TableCell& cell) {
  ExplainedValue value;
  try {
    value.value.InitializeFromGridCell(cell);
  } catch (const RaisedError& error) {
    value.raised = error;
  }
  return value;
}

}  // namespace ktformula
