#include "analysis/formula_walk.h"

#include <algorithm>
#include <utility>

#include "analysis/formula_reading.h"

#include "functions/function_table.h"
#include "values/nearest_name.h"
#include "values/text.h"

namespace ktformula {

namespace {

bool IsNumber(const Sketch& sketch) {
  return sketch.kind == kCellValueTypeNumber;
}

// Whether the value is surely of a kind that has no number of its own.
bool IsNoNumber(const Sketch& sketch) {
  return sketch.kind == kCellValueTypeString || sketch.kind == kCellValueTypeDate ||
         sketch.kind == kCellValueTypeBoolean || sketch.kind == kCellValueTypeStructure;
}

std::u16string_view KindText(CellValueTypeEnum kind) {
  switch (kind) {
    case kCellValueTypeString: return u"a text";
    case kCellValueTypeDate: return u"a date";
    case kCellValueTypeBoolean: return u"a truth value";
    case kCellValueTypeStructure: return u"a structure";
    case kCellValueTypeNumber: return u"a number";
    default: return u"a value";
  }
}

bool IsComparison(FormulaWord word) {
  return PrecedenceLevel(word) == PrecedenceLevel(FormulaWord::kEquals);
}

// A written number beside a quantity is a limit in base units.
bool MayDiffer(const Sketch& left, FormulaWord word, const Sketch& right) {
  if (left.is_zero || right.is_zero) return true;
  return IsComparison(word) && (left.is_constant || right.is_constant);
}

std::vector<std::u16string> FunctionNames() {
  std::vector<std::u16string> names;
  for (const FunctionRow& row : NamedFunctions())
    names.emplace_back(row.name);
  return names;
}

bool Takes(const FunctionArguments& arguments, std::size_t count) {
  return count >= arguments.least && count <= arguments.most &&
         !(arguments.must_be_odd && count % 2 == 0);
}

bool IsReference(const LayerItem& item) {
  return !item.IsLayer() && item.TokenType() == kFormulaTokenTypeReference;
}

bool IsName(const LayerItem& item) {
  return !item.IsLayer() && item.TokenType() == kFormulaTokenTypeName;
}

bool IsFunction(const LayerItem& item) {
  return !item.IsLayer() && item.TokenType() == kFormulaTokenTypeFunction;
}

// The last item that the term takes.
std::uint32_t LastItemOf(const Term& term) {
  return term.kind == TermKind::kCall ? term.item + 1 : term.item;
}

}  // namespace

void FormulaWalk::Tell(Finding finding) {
  if (finding.place) finding.place = map_.Balanced(*finding.place);
  // The rest of a unit such as "g/ml" has been told with its beginning.
  const bool is_told = finding.code == ProblemCode::kUnknownName && finding.place &&
                       finding.place->start < told_until_ &&
                       map_.Text()[finding.place->start] != u'[';
  if (!is_told) findings_.push_back(std::move(finding));
}

void FormulaWalk::TellName(const TextRange& place, NameAdvice advice) {
  Finding finding{ProblemCode::kUnknownName, place, std::move(advice.message),
                  std::move(advice.help)};
  if (!advice.meant.empty()) finding.mend = {place, std::move(advice.meant)};
  Tell(std::move(finding));
}

Sketch FormulaWalk::Run(const Spot& spot) {
  return OfLayer(map_.Tree().Top(), {Standing::At(spot), u""});
}

Sketch FormulaWalk::OfLayer(const TokenLayer& layer, const Surrounding& in) {
  const Term& head = layer.Head();
  const LayerItem head_item = layer.ItemOfTree(head.item);
  std::uint32_t last_item = LastItemOf(head);
  Sketch value;
  TextRange place;
  if (head.kind == TermKind::kRefusal) {
    Refuse(head.refusal, head_item, in);
    value = SketchOfKind(kCellValueTypeError);
  } else {
    value = OfTerm(head, head_item, in);
    const bool is_written = head.kind != TermKind::kZero &&
                            (head.kind != TermKind::kTrue || head_item.Word() != FormulaWord::kNot);
    if (is_written) place = PlaceOf(head, head_item);
  }
  for (const Step& step : layer.Steps()) {
    const LayerItem item = layer.ItemOfTree(step.item);
    TakeStep(value, place, step, item, in);
    const bool has_operand =
        step.operand.kind != TermKind::kRefusal || step.operand.refusal != Refusal::kNoItem;
    const bool takes_operand =
        step.kind != StepKind::kRefusal && step.kind != StepKind::kUnknownName;
    last_item = has_operand && takes_operand ? LastItemOf(step.operand) : step.item;
    // What stands in the place of an operator is looked at like the rest.
    if (step.kind == StepKind::kRefusal) --last_item;
    place = Around(place, map_.Of(item));
    if (has_operand && takes_operand) {
      place = Around(place, PlaceOf(step.operand, layer.ItemOfTree(step.operand.item)));
    }
  }
  WalkRest(layer, last_item, in);
  return value;
}

void FormulaWalk::WalkRest(const TokenLayer& layer, std::uint32_t last_item,
                           const Surrounding& in) {
  for (std::size_t i = 0; i < layer.Count(); ++i) {
    const LayerItem item = layer.Item(i);
    if (item.Index() <= last_item) continue;
    if (item.IsLayer() && i > 0 && IsName(layer.Item(i - 1))) {
      WalkArguments(item.Layer(), in);
    } else if (item.IsLayer()) {
      OfLayer(item.Layer(), in);
    } else if (IsReference(item)) {
      OfReference(item, in);
    } else if (IsFunction(item) && i + 1 < layer.Count() && layer.Item(i + 1).IsLayer()) {
      OfCall(item, in);
      ++i;
    }
  }
}

void FormulaWalk::WalkArguments(const TokenLayer& args, const Surrounding& in) {
  for (std::size_t i = 0; i < args.Count(); ++i)
    OfArgument(args.Item(i), in);
}

Sketch FormulaWalk::OfArgument(const LayerItem& item, const Surrounding& in) {
  const Term term = ArgumentTerm(item);
  if (term.kind == TermKind::kRefusal) {
    Refuse(term.refusal, item, in);
    return SketchOfKind(kCellValueTypeError);
  }
  return OfTerm(term, item, in);
}

Sketch FormulaWalk::OfTerm(const Term& term, const LayerItem& item, const Surrounding& in) {
  const Sketch bare = OfBareTerm(term, item, in);
  return term.nots == 0 ? bare : SketchOfKind(kCellValueTypeBoolean);
}

Sketch FormulaWalk::OfBareTerm(const Term& term, const LayerItem& item, const Surrounding& in) {
  switch (term.kind) {
    case TermKind::kNumber: return SketchOfNumeral(item.Number());
    case TermKind::kZero: return SketchOfNumeral(0);
    case TermKind::kString: return SketchOfKind(kCellValueTypeString);
    case TermKind::kTrue:
    case TermKind::kFalse: return SketchOfKind(kCellValueTypeBoolean);
    case TermKind::kReference: return OfReference(item, in);
    case TermKind::kLayer: return OfLayer(item.Layer(), in);
    case TermKind::kCall: return OfCall(item, in);
    default: return {};
  }
}

Meaning FormulaWalk::OfObject(const LayerItem& item, const Surrounding& in) {
  // What is not closed has lost its last character.
  if (IsUnclosedReference(map_, item)) return {};
  Meaning meaning = around_.reach.Resolve(item.Reference(), in.at);
  if (meaning.kind == Meaning::Kind::kNothing) {
    NameAdvice advice = around_.reach.AdviseOn(item.Reference(), in.at, around_.definition_names);
    if (!in.hidden.empty()) advice.message += u"; " + in.hidden;
    TellName(map_.Of(item), std::move(advice));
  }
  return meaning;
}

Sketch FormulaWalk::OfReference(const LayerItem& item, const Surrounding& in) {
  if (IsUnclosedReference(map_, item)) return SketchOfKind(kCellValueTypeError);
  if (const auto definition = around_.definition(item.Reference().text)) return *definition;
  const Meaning meaning = OfObject(item, in);
  const Spot& anchor = in.at.anchor;
  switch (meaning.kind) {
    case Meaning::Kind::kNothing: return SketchOfKind(kCellValueTypeError);
    case Meaning::Kind::kCell: return SketchOfCell(meaning.property.get());
    case Meaning::Kind::kColumn: {
      const bool has_cell = anchor.start != ReferenceStart::kTable &&
                            IsSameObject(anchor.table.get(), meaning.table.get());
      return has_cell ? SketchOfCell(meaning.property.get()) : Sketch();
    }
    case Meaning::Kind::kStructure: return SketchOfKind(kCellValueTypeStructure);
    default: return {};
  }
}

void FormulaWalk::TakeStep(Sketch& left, const TextRange& left_place, const Step& step,
                           const LayerItem& item, const Surrounding& in) {
  if (step.kind == StepKind::kRefusal || step.kind == StepKind::kUnknownName) {
    Tell(Leftover(map_, item, around_.units));
    told_until_ = findings_.back().place->End();
    left = SketchOfKind(kCellValueTypeError);
    return;
  }
  if (step.kind == StepKind::kUnknownSymbol || step.kind == StepKind::kDrop) {
    Tell(MisplacedSymbol(map_, item));
  }
  const LayerItem operand_item = item.Other(step.operand.item);
  if (step.operand.kind == TermKind::kRefusal) {
    if (step.operand.refusal == Refusal::kNoItem) {
      const bool is_told = step.kind != StepKind::kOperation && step.kind != StepKind::kNot;
      if (!is_told) Tell(MissingOperand(map_, item));
    } else if (item.Word() == FormulaWord::kModulus &&
               step.operand.refusal == Refusal::kSymbolAsOperand) {
      Tell(MissingOperand(map_, item));
    } else {
      Refuse(step.operand.refusal, operand_item, in);
    }
    left = SketchOfKind(kCellValueTypeError);
    return;
  }
  const Sketch right = OfTerm(step.operand, operand_item, in);
  if (step.kind == StepKind::kOperation) {
    Operate(left, left_place, step, item, right);
  } else {
    left = SketchOfKind(step.kind == StepKind::kNot ? kCellValueTypeBoolean : kCellValueTypeError);
  }
}

void FormulaWalk::Operate(Sketch& left, const TextRange& left_place, const Step& step,
                          const LayerItem& item, const Sketch& right) {
  const FormulaWord word = step.word;
  const bool is_comparison = IsComparison(word);
  const bool is_arithmetic = IsArithmetic(word);
  const TextRange right_place = PlaceOf(step.operand, item.Other(step.operand.item));
  const std::u16string symbol(map_.Text(map_.Of(item)));
  const bool fails = left.kind == kCellValueTypeError || right.kind == kCellValueTypeError;
  if ((is_arithmetic || is_comparison) && IsNumber(left) && IsNoNumber(right)) {
    Tell({ProblemCode::kTextAsNumber, right_place,
          u"behind " + InQuotes(symbol) + u", " + std::u16string(KindText(right.kind)) +
              u" counts as the number that is left over in it" +
              (right.kind == kCellValueTypeDate ? u"" : u", mostly 0"),
          is_comparison ? u"compare texts with texts: write \"\" & in front of the left side"
                        : u"use a number; a text that is one may stand on the left"});
  }
  if (is_comparison && left.kind == kCellValueTypeDate) {
    Tell({ProblemCode::kTextAsNumber, Around(left_place, right_place), u"dates can not be compared",
          u"compare their texts: \"\" & [Start] = \"\" & [End]"});
  }
  const bool must_be_alike = is_comparison || IsSum(word);
  const bool is_unlike = must_be_alike && AreUnlike(left, right) && !MayDiffer(left, word, right);
  if (is_unlike) {
    Tell({ProblemCode::kUnits, Around(left_place, right_place),
          u"different quantities on both sides of " + InQuotes(symbol) + u": " +
              DimensionText(*left.dimension) + u" and " + DimensionText(*right.dimension),
          u""});
  }
  Sketch result;
  if (fails) {
    result = SketchOfKind(kCellValueTypeError);
  } else if (is_arithmetic) {
    result = SketchOfArithmetic(left, word, right);
  } else {
    result = SketchOfKind(word == FormulaWord::kConcatenate ? kCellValueTypeString
                                                            : kCellValueTypeBoolean);
  }
  left = result;
}

void FormulaWalk::Refuse(Refusal refusal, const LayerItem& item, const Surrounding& in) {
  switch (refusal) {
    case Refusal::kNoFirstItem:
      Tell({ProblemCode::kSyntax, std::nullopt, u"there is nothing to compute"});
      return;
    case Refusal::kNoItem:
      Tell({ProblemCode::kSyntax, std::nullopt, u"there is nothing behind the \"=\""});
      return;
    case Refusal::kLayerBehindEquals: {
      const std::size_t begin = map_.Text().rfind(u'=', map_.Of(item).start);
      Tell({ProblemCode::kSyntax,
            begin == std::u16string::npos ? std::nullopt : std::optional(TextRange{begin, 1}),
            u"a leading \"=\" can stand before a single part only", u"leave the \"=\" out"});
      OfLayer(item.Layer(), in);
      return;
    }
    case Refusal::kNoNumber:
      Tell({ProblemCode::kSyntax, map_.Of(item), InQuotes(item.TokenText()) + u" is no number"});
      return;
    case Refusal::kUnknownNameAtHead:
    case Refusal::kUnknownNameAsOperand:
    case Refusal::kUnknownNameAsArgument: RefuseName(item, in); return;
    default: Tell(MisplacedSymbol(map_, item));
  }
}

void FormulaWalk::RefuseName(const LayerItem& name, const Surrounding& in) {
  const TextRange place = map_.Of(name);
  const std::u16string text = name.TokenText();
  if (name.Word() == FormulaWord::kTrue || name.Word() == FormulaWord::kFalse) {
    Tell({ProblemCode::kSyntax, place, InQuotes(text) + u" can not stand behind an operator",
          u"write (" + text + u")", Mend{place, u"(" + text + u")"}});
    return;
  }
  if (PrecedenceLevel(name.Word()) > 0) {
    Tell({ProblemCode::kSyntax, place, u"something is missing in front of " + InQuotes(text),
          UpperCase(text) + u" stands between two conditions"});
    return;
  }
  const std::u16string& formula = map_.Text();
  const std::size_t behind = formula.find_first_not_of(u" \t\r\n", place.End());
  if (behind != std::u16string::npos && formula[behind] == u'(') {
    Finding finding{ProblemCode::kUnknownFunction, place,
                    u"there is no function " + InQuotes(text)};
    if (const auto nearest = NearestName(UpperCase(text), FunctionNames())) {
      finding.help = u"did you mean " + *nearest + u"?";
      finding.mend = {place, *nearest};
    }
    if (!in.hidden.empty()) finding.message += u"; " + in.hidden;
    Tell(std::move(finding));
    return;
  }
  NameAdvice advice = around_.reach.AdviseOnBareName(text, in.at, around_.definition_names);
  if (advice.help.empty() && FindFunctionRow(UpperCase(text)) == nullptr) {
    advice.help = u"names of columns stand in brackets, texts in quotes";
  }
  if (!in.hidden.empty()) advice.message += u"; " + in.hidden;
  TellName(place, std::move(advice));
}

Sketch FormulaWalk::OfCall(const LayerItem& function, const Surrounding& in) {
  // What a function of the host does with its arguments is not known.
  if (!function.Function()->IsPure()) return {};
  const std::u16string name = UpperCase(function.TokenText());
  const TokenLayer args = function.Other(function.Index() + 1).Layer();
  const FunctionRow* const row = FindFunctionRow(name);
  const Surrounding inside{Standing::At(in.at.anchor), in.hidden};
  if (row == nullptr || !Takes(row->arguments, args.Count())) {
    WalkArguments(args, inside);
    return SketchOfKind(row == nullptr ? kCellValueTypeUnknown : kCellValueTypeError);
  }
  if (name == u"IF") return OfIf(args, inside);
  if (name == u"ONERROR") return OfOnError(args, inside);
  if (name == u"SELECT") return OfSelect(args, inside);
  if (name == u"COUNT") return OfCount(args, inside);
  if (name == u"SUM" || name == u"MIN" || name == u"MAX") return OfAggregate(name, args, inside);
  // TAG and ISENTERED ask about a cell.
  if (IsReference(args.Item(0))) OfObject(args.Item(0), inside);
  return SketchOfKind(name == u"TAG" ? kCellValueTypeString : kCellValueTypeBoolean);
}

void FormulaWalk::WalkCondition(const LayerItem& item, const Surrounding& in) {
  const Sketch condition = OfArgument(item, in);
  const bool is_never_boolean = IsNumber(condition) || condition.kind == kCellValueTypeDate ||
                                condition.kind == kCellValueTypeStructure;
  if (!is_never_boolean) return;
  Tell({ProblemCode::kSwallowed, PlaceOf(ArgumentTerm(item), item),
        u"the condition is " + std::u16string(KindText(condition.kind)) + u", never true or false",
        u"compare it with something"});
}

Sketch FormulaWalk::OfIf(const TokenLayer& args, const Surrounding& in) {
  const Surrounding condition{in.at, u"IF takes it for false"};
  const Surrounding choice{in.at,
                           in.hidden.empty() ? u"IF hides it where it is not chosen" : in.hidden};
  Sketch value = SketchOfKind(kCellValueTypeError);
  for (std::size_t i = 0; i < args.Count(); ++i) {
    if (i % 2 == 0 && i + 1 < args.Count()) {
      WalkCondition(args.Item(i), condition);
    } else {
      value = EitherOf(value, OfArgument(args.Item(i), choice));
    }
  }
  return value;
}

Sketch FormulaWalk::OfOnError(const TokenLayer& args, const Surrounding& in) {
  const Surrounding hidden{in.at, u"ONERROR hides it"};
  Sketch value = SketchOfKind(kCellValueTypeError);
  for (std::size_t i = 0; i < args.Count(); ++i) {
    value = EitherOf(value, OfArgument(args.Item(i), i + 1 < args.Count() ? hidden : in));
  }
  return value;
}

FormulaWalk::Surrounding FormulaWalk::RowsOf(const LayerItem& table, const Surrounding& in) {
  Surrounding rows{{Spot(), in.at.anchor}, in.hidden};
  if (!IsReference(table)) return rows;
  const Meaning meaning = OfObject(table, in);
  if (meaning.kind == Meaning::Kind::kTable || meaning.kind == Meaning::Kind::kColumn) {
    rows.at.anchor = {meaning.table, ReferenceStart::kRow, nullptr};
  }
  return rows;
}

Sketch FormulaWalk::OfSelect(const TokenLayer& args, const Surrounding& in) {
  Surrounding rows = RowsOf(args.Item(1), in);
  const Sketch value = OfArgument(args.Item(0), rows);
  rows.hidden = u"SELECT passes over such rows";
  WalkCondition(args.Item(2), rows);
  return value;
}

Sketch FormulaWalk::OfCount(const TokenLayer& args, const Surrounding& in) {
  Surrounding rows = RowsOf(args.Item(0), in);
  rows.hidden = u"COUNT leaves such rows out";
  if (args.Count() == 2) WalkCondition(args.Item(1), rows);
  return SketchOfCount();
}

Sketch FormulaWalk::OfAggregate(const std::u16string& name, const TokenLayer& args,
                                const Surrounding& in) {
  Sketch value;
  if (args.Count() == 1) {
    if (!IsReference(args.Item(0))) return {};
    const Meaning meaning = OfObject(args.Item(0), in);
    if (meaning.kind == Meaning::Kind::kNothing) return SketchOfKind(kCellValueTypeError);
    if (meaning.kind == Meaning::Kind::kColumn) value = SketchOfCell(meaning.property.get());
  } else {
    Surrounding rows = RowsOf(args.Item(1), in);
    // Without a condition the error shows, or what was computed before it counts.
    if (args.Count() == 2) rows.hidden = name + u" may hide it";
    value = OfArgument(args.Item(0), rows);
    rows.hidden = name + u" leaves such rows out";
    if (args.Count() == 3) WalkCondition(args.Item(2), rows);
  }
  if (value.kind == kCellValueTypeError) return value;
  Sketch aggregate = SketchOfKind(kCellValueTypeNumber);
  if (IsNumber(value)) aggregate.dimension = value.dimension;
  return aggregate;
}

}  // namespace ktformula
