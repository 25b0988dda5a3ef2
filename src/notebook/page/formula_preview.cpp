#include "notebook/page/formula_preview.h"

#include <array>
#include <utility>

#include "analysis/formula_problems.h"
#include "analysis/watched_evaluation.h"

#include "formula/tokenizer.h"
#include "notebook/files/watched_form.h"
#include "notebook/tables/shown_text.h"
#include "notebook/tables/written_content.h"
#include "values/text.h"

namespace ktnotebook {

using ktformula::FormulaListener;
using ktformula::FormulaWord;
using ktformula::Problem;
using ktformula::TokenPlace;

namespace {

// The terms that a preview may cost: somebody is typing, and everybody waits meanwhile.
constexpr std::size_t kMostTerms = 1'000'000;

bool IsOperatorWord(FormulaWord word) {
  return word == FormulaWord::kNot || ktformula::PrecedenceLevel(word) > 0;
}

TokenKind KindOf(const TokenPlace& token, std::u16string_view text,
                 const ktformula::FunctionRegistry& functions) {
  switch (token.type) {
    case ktformula::kFormulaTokenTypeReference: return TokenKind::kReference;
    case ktformula::kFormulaTokenTypeNumber: return TokenKind::kNumber;
    case ktformula::kFormulaTokenTypeString: return TokenKind::kText;
    case ktformula::kFormulaTokenTypeSymbol: return TokenKind::kOperator;
    case ktformula::kFormulaTokenTypeLeftParen:
    case ktformula::kFormulaTokenTypeRightParen: return TokenKind::kParenthesis;
    case ktformula::kFormulaTokenTypeName:
      if (functions.Find(text) != nullptr) return TokenKind::kFunction;
      return IsOperatorWord(ktformula::FindWord(token.type, text)) ? TokenKind::kOperator
                                                                   : TokenKind::kOther;
    default: return TokenKind::kOther;
  }
}

// How many code units the character takes that begins no token.
std::size_t LengthOfCharacter(std::u16string_view text) {
  const auto is_between = [](char16_t unit, char16_t from, char16_t to) {
    return unit >= from && unit < to;
  };
  const bool is_pair =
      text.size() > 1 && is_between(text[0], 0xD800, 0xDC00) && is_between(text[1], 0xDC00, 0xE000);
  return is_pair ? 2 : 1;
}

std::vector<PreviewToken> TokensOf(std::u16string_view formula,
                                   const ktformula::FunctionRegistry& functions) {
  std::vector<PreviewToken> tokens;
  for (std::size_t begin = 0; begin < formula.size();) {
    ktformula::Tokenizer tokenizer(formula.substr(begin), ktformula::UserLocale());
    const std::size_t offset = begin;
    try {
      while (!tokenizer.IsAtEnd()) {
        const TokenPlace token = tokenizer.Next();
        begin = offset + token.end;
        if (token.type == ktformula::kFormulaTokenTypeWhitespace) continue;
        tokens.push_back({{offset + token.begin, token.end - token.begin},
                          KindOf(token, tokenizer.TextOf(token), functions)});
      }
    } catch (const ktformula::RaisedError&) {
      const std::size_t length = LengthOfCharacter(formula.substr(begin));
      tokens.push_back({{begin, length}, TokenKind::kOther});
      begin += length;
    }
  }
  return tokens;
}

// Takes what would be written into a cell.
class TextCatcher final : public ktformula::GridControl {
 public:
  explicit TextCatcher(NotebookUnitCatalogue& units) : units_(units) {}

  const std::u16string& Text() const noexcept { return text_; }

  std::u16string TypeName() const override { return u"TextCatcher"; }
  void WriteText(ktformula::TableCell&, std::u16string_view text, bool) override { text_ = text; }
  void ClearNumber(ktformula::TableCell&) override {}
  void SetValue(ktformula::TableCell& cell, double value, std::u16string_view pattern,
                std::u16string_view unit_name) override {
    text_ = WrittenNumber(*cell.Property(), value, pattern, unit_name, units_).text;
  }
  void FinishCell(ktformula::TableCell&) override {}

 private:
  NotebookUnitCatalogue& units_;
  std::u16string text_;
};

// The problems of the table's formulas if the listener were its only one.
std::vector<Problem> ProblemsWith(const Ref<FormulaListener>& listener, NotebookTable& table,
                                  NotebookFramework& framework) {
  ktformula::WatchedForm form = WatchForm(table.Parent(), framework);
  for (ktformula::WatchedTable& watched : form.tables) {
    watched.listeners.clear();
    if (IsSameObject(watched.table.get(), &table)) watched.listeners.push_back(listener);
  }
  return FindFormulaProblems(form);
}

// Evaluates, unless there is nothing to evaluate or that takes too long.
template <typename Evaluate>
void EvaluateInto(FormulaPreview& preview, std::u16string_view formula, Evaluate evaluate) {
  if (ktformula::TrimWhitespace(formula).empty()) return;
  ktformula::Effort effort(kMostTerms);
  ktformula::FormulaObserver observer(effort);
  const ktformula::Observation observation(&observer);
  ktformula::CellValue value;
  try {
    evaluate(value);
    preview.value = std::move(value);
  } catch (const ktformula::RaisedError& error) {
    preview.raised = error;
  } catch (const ktformula::TooMuchEffort&) {
    // Then there is none.
  }
}

std::u16string ErrorText(const ktformula::RaisedError& error) {
  return std::u16string(ktformula::kErrorPrefix) + error.Description();
}

}  // namespace

std::string_view TokenKindText(TokenKind kind) noexcept {
  constexpr std::array<std::string_view, 7> kTexts{"reference", "function",    "number", "text",
                                                   "operator",  "parenthesis", "other"};
  return kTexts[static_cast<std::size_t>(kind)];
}

FormulaPreview PreviewOfFormula(NotebookColumn& column, std::optional<std::size_t> row,
                                std::u16string_view formula, std::u16string_view format,
                                const ktformula::IKtFormulaListener* listener,
                                NotebookFramework& framework) {
  NotebookTable& table = column.Parent();
  const ktformula::LocaleScope kept_in(table.Parent().OwnLocale().separators);
  const Ref<FormulaListener> trial = StandIn(listener, table, framework);
  trial->SetPropertyFormula(column.Definition().key, formula, format);
  FormulaPreview preview;
  preview.tokens = TokensOf(formula, trial->FormulaFunctions());
  preview.problems = ProblemsWith(trial, table, framework);
  std::erase_if(preview.problems, [&column](const Problem& problem) {
    return !IsSameObject(problem.column.get(), &column);
  });
  if (!row) return preview;
  const Ref<CellObject> cell = column.ObjectAt(*row);
  EvaluateInto(preview, formula,
               [&](ktformula::CellValue& value) { trial->EvaluateInCell(formula, *cell, value); });
  if (preview.raised) preview.text = ErrorText(*preview.raised);
  if (preview.value) {
    const auto written = ktformula::MakeRef<TextCatcher>(table.Parent().Units());
    trial->ShowInCell(*preview.value, *cell, *written);
    preview.text = written->Text();
  }
  return preview;
}

FormulaPreview PreviewOfDefinition(NotebookTable& table, std::u16string_view name,
                                   std::u16string_view formula,
                                   const ktformula::IKtFormulaListener* listener,
                                   NotebookFramework& framework) {
  const ktformula::LocaleScope kept_in(table.Parent().OwnLocale().separators);
  const Ref<FormulaListener> trial = StandIn(listener, table, framework);
  trial->SetDefinition(name, formula);
  FormulaPreview preview;
  preview.tokens = TokensOf(formula, trial->FormulaFunctions());
  preview.problems = ProblemsWith(trial, table, framework);
  std::erase_if(preview.problems,
                [name](const Problem& problem) { return problem.definition != name; });
  EvaluateInto(preview, formula, [&](ktformula::CellValue& value) {
    trial->InOnePass([&](const FormulaListener::EvaluateTree&) {
      value = trial->DefinedValue(name)->Duplicate();
    });
  });
  if (preview.value) preview.text = ValueText(*preview.value);
  return preview;
}

}  // namespace ktnotebook
