// The commands about formulas: eval, tokens, tree.
#include <istream>
#include <nlohmann/json.hpp>
#include <ostream>

#include "formula/evaluator.h"
#include "formula/token_tree.h"
#include "formula/tokenizer.h"
#include "functions/function_table.h"
#include "notebook/commands/address.h"
#include "notebook/commands/commands.h"
#include "notebook/commands/formula_options.h"
#include "notebook/commands/function_pages.h"
#include "notebook/commands/json_output.h"
#include "notebook/commands/notebook_input.h"
#include "notebook/commands/text_output.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

using ktformula::FunctionRegistry;
using ktformula::IKtFormulaListener;

// The language by itself, for formulas that belong to no notebook: its functions, without names.
class BareLanguage final : private ktformula::NamedValues {
 public:
  BareLanguage() { functions_.RegisterAll(ktformula::StandardFunctions(), *this); }
  BareLanguage(const BareLanguage&) = delete;
  BareLanguage& operator=(const BareLanguage&) = delete;
  ~BareLanguage() { functions_.Terminate(); }

  const FunctionRegistry& Functions() const noexcept { return functions_; }
  void Evaluate(std::u16string_view formula, ktformula::CellValue& value) {
    const auto tree = ktformula::MakeTokenTree(formula, functions_);
    EvaluateTokenTreeLayer(value, tree->Top(), {nullptr, nullptr, nullptr, this});
  }

 private:
  std::shared_ptr<ktformula::CellValue> DefinedValue(std::u16string_view) override {
    return nullptr;
  }

  FunctionRegistry functions_;
};

// Evaluates formulas alone, or as if they stood in a cell of a notebook.
class FormulaEvaluation {
 public:
  FormulaEvaluation(const EvaluateOptions& options, const ktformula::Locale& typed_in)
      : locale_(typed_in) {
    if (options.file.empty()) return;
    RequireNotebookName(options.file);
    notebook_ = ReadNotebookFile(options.file);
    locale_ = notebook_.locale.separators;
    cell_ = FindCell(notebook_.forms, ArgumentText(options.cell)).Object();
    // Its definitions are what the formula may use.
    const NotebookColumn& column = cell_->Cell().OwningColumn();
    listener_ = &notebook_.framework->FormulaListenerOf(
        column.Parent(), [&column](const IKtFormulaListener& candidate) {
          return candidate.FormulaOf(column.Definition().key).has_value();
        });
  }

  void Evaluate(std::u16string_view formula, ktformula::CellValue& value) {
    const ktformula::LocaleScope scope(locale_);
    if (cell_) {
      listener_->EvaluateInCell(formula, *cell_, value);
    } else {
      language_.Evaluate(formula, value);
    }
  }

 private:
  BareLanguage language_;
  Notebook notebook_;
  // A formula is of the notebook; without one it is typed in the person's locale.
  ktformula::Locale locale_;
  // Empty without a notebook, to which the listener belongs.
  Ref<CellObject> cell_;
  IKtFormulaListener* listener_ = nullptr;
};

void PrintJson(FormulaEvaluation& evaluation, std::u16string_view formula, Console& console) {
  ktformula::CellValue value;
  std::string json;
  try {
    evaluation.Evaluate(formula, value);
    json = ValueJson(value);
  } catch (const ktformula::RaisedError& error) {
    json = RaisedJson(error);
  }
  console.out << json << '\n';
}

void PrintText(FormulaEvaluation& evaluation, std::u16string_view formula, Console& console) {
  ktformula::CellValue value;
  try {
    evaluation.Evaluate(formula, value);
  } catch (const ktformula::RaisedError& error) {
    value.SetError(error.Number(), error.Source(), error.Description());
  }
  const ktformula::LocaleScope shown_in(console.style.locale);
  console.out << ToUtf8(Printable(ValueText(value))) << '\n';
  if (console.verbose && value.CellValueType() == ktformula::kCellValueTypeError) {
    console.out.flush();
    console.Say(ErrorOrigin(value.ErrorNumber(), value.ErrorSource()));
  }
}

// The formula of the next line, a JSON string; empty at the end. Nothing of the line is left
// behind, because formulas may be long.
std::optional<std::u16string> NextFormula(std::istream& in, int number) {
  std::string line;
  if (!std::getline(in, line)) return std::nullopt;
  const auto formula = nlohmann::json::parse(line, nullptr, false);
  if (!formula.is_string()) {
    throw NotebookError("standard input:" + std::to_string(number) + ": not a JSON string");
  }
  return ArgumentText(formula.get_ref<const std::string&>());
}

// One JSON string a line in, one JSON line out for each.
void EvaluateLines(FormulaEvaluation& evaluation, Console& console) {
  for (int number = 1; const auto formula = NextFormula(console.in, number); ++number)
    PrintJson(evaluation, *formula, console);
}

// Prints what `body` makes of the formula; a raised error in the same form as `eval` does.
template <typename Body>
int PrintParsed(const FormulaOptions& options, Console& console, Body body) {
  const std::u16string formula = ArgumentText(options.formula);
  const ktformula::LocaleScope typed_in(console.style.locale);
  try {
    const BareLanguage language;
    console.out << body(formula, language.Functions());
  } catch (const ktformula::RaisedError& error) {
    if (!options.json) throw NotebookError(ToUtf8(error.Description()));
    console.out << RaisedJson(error) << '\n';
  }
  return kExitDone;
}

}  // namespace

int Evaluate(const EvaluateOptions& options, Console& console) {
  FormulaEvaluation evaluation(options, console.style.locale);
  for (const std::string& formula : options.formulas) {
    if (formula == "-") {
      EvaluateLines(evaluation, console);
    } else if (options.json) {
      PrintJson(evaluation, ArgumentText(formula), console);
    } else {
      PrintText(evaluation, ArgumentText(formula), console);
    }
  }
  return kExitDone;
}

int ShowFunctions(const FunctionOptions& options, Console& console) {
  const std::vector<const ktformula::FunctionRow*> functions = FindFunctions(options.name);
  if (functions.empty()) {
    throw NotebookError("there is no function \"" + options.name + "\"" +
                        DidYouMean(ArgumentText(options.name), FunctionNames()));
  }
  console.out << (options.json ? FunctionsJson(functions) + "\n" : FunctionHelpText(functions));
  return kExitDone;
}

int ShowTokens(const FormulaOptions& options, Console& console) {
  return PrintParsed(
      options, console, [&](std::u16string_view formula, const FunctionRegistry& functions) {
        const auto tokens = ktformula::Tokenize(formula, functions);
        return options.json ? TokensJson(tokens) + "\n" : TokensText(tokens, console.style);
      });
}

int ShowTree(const FormulaOptions& options, Console& console) {
  return PrintParsed(options, console,
                     [&](std::u16string_view formula, const FunctionRegistry& functions) {
                       const auto tree = ktformula::MakeTokenTree(formula, functions);
                       return options.json ? TreeJson(tree->Top()) + "\n" : TreeText(tree->Top());
                     });
}

}  // namespace ktnotebook
