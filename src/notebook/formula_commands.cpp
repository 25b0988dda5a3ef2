// The commands about formulas: eval, tokens, tree.
#include <istream>
#include <nlohmann/json.hpp>
#include <ostream>

#include "formula/tokenizer.h"
#include "listener/formula_listener.h"
#include "notebook/address.h"
#include "notebook/commands.h"
#include "notebook/function_pages.h"
#include "notebook/json_output.h"
#include "notebook/notebook_error.h"
#include "notebook/notebook_file.h"
#include "notebook/text_output.h"
#include "notebook/utf.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

using ktformula::FormulaListener;

Ref<FormulaListener> NewListener(NotebookFramework& framework) {
  const Ref<ktformula::FieldListener> listener =
      framework.CreateFieldListener(ktformula::kFormulaListenerIdentifier);
  return Ref<FormulaListener>(dynamic_cast<FormulaListener*>(listener.get()));
}

// Evaluates formulas alone, or as if they stood in a cell of a notebook.
class FormulaEvaluation {
 public:
  explicit FormulaEvaluation(const EvaluateOptions& options) {
    if (options.file.empty()) {
      notebook_.framework = ktformula::MakeRef<NotebookFramework>();
      listener_ = NewListener(*notebook_.framework);
      listener_->Initialize(notebook_.framework, nullptr, nullptr);
      return;
    }
    notebook_ = ReadNotebookFile(options.file);
    cell_ = &FindCell(notebook_.forms, ArgumentText(options.cell));
    listener_ = ListenerOf(cell_->OwningColumn());
  }

  void Evaluate(std::u16string_view formula, ktformula::CellValue& value) {
    if (cell_ != nullptr) {
      listener_->EvaluateInCell(formula, *cell_, value);
      return;
    }
    const auto tree = listener_->MakeTokenTree(formula);
    EvaluateTokenTreeLayer(value, tree->top, {nullptr, nullptr, nullptr, listener_.get()});
  }

 private:
  // The listener whose definitions the formula may use: the column's, else the table's first, else
  // a new one.
  Ref<FormulaListener> ListenerOf(const NotebookColumn& column) const {
    const NotebookTable& table = column.Parent();
    if (FormulaListener* own = table.ListenerComputing(column)) return Ref<FormulaListener>(own);
    for (const auto& known : table.Listeners()) {
      if (auto* listener = dynamic_cast<FormulaListener*>(known.get())) {
        return Ref<FormulaListener>(listener);
      }
    }
    Ref<FormulaListener> listener = NewListener(*notebook_.framework);
    listener->Initialize(notebook_.framework, table.Parent().OwnerOf(table.OwnField()), nullptr);
    return listener;
  }

  Notebook notebook_;
  Ref<FormulaListener> listener_;
  NotebookCell* cell_ = nullptr;
};

void PrintJson(FormulaEvaluation& evaluation, std::u16string_view formula, const Console& console) {
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

void PrintText(FormulaEvaluation& evaluation, std::u16string_view formula, const Console& console) {
  ktformula::CellValue value;
  try {
    evaluation.Evaluate(formula, value);
  } catch (const ktformula::RaisedError& error) {
    value.SetError(error.Number(), error.Source(), error.Description());
  }
  console.out << ToUtf8(Printable(ValueText(value))) << '\n';
  if (value.CellValueType() == ktformula::kCellValueTypeError) {
    console.out.flush();
    console.err << "error " << value.ErrorNumber() << " from " << ToUtf8(value.ErrorSource())
                << '\n';
  }
}

// One JSON string a line in, one JSON line out for each.
void EvaluateLines(FormulaEvaluation& evaluation, const Console& console) {
  std::string line;
  for (int number = 1; std::getline(console.in, line); ++number) {
    const auto formula = nlohmann::json::parse(line, nullptr, false);
    if (!formula.is_string()) {
      throw NotebookError("standard input:" + std::to_string(number) + ": not a JSON string");
    }
    PrintJson(evaluation, ArgumentText(formula.get<std::string>()), console);
  }
}

// Prints what `body` makes of the formula; a raised error in the same form as `eval` does.
template <typename Body>
int PrintParsed(const FormulaOptions& options, const Console& console, Body body) {
  const std::u16string formula = ArgumentText(options.formula);
  try {
    const Ref<NotebookFramework> framework = ktformula::MakeRef<NotebookFramework>();
    const Ref<FormulaListener> listener = NewListener(*framework);
    listener->Initialize(framework, nullptr, nullptr);
    console.out << body(formula, *listener);
  } catch (const ktformula::RaisedError& error) {
    if (!options.json) throw NotebookError(ToUtf8(error.Description()));
    console.out << RaisedJson(error) << '\n';
  }
  return kExitDone;
}

}  // namespace

int Evaluate(const EvaluateOptions& options, const Console& console) {
  FormulaEvaluation evaluation(options);
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

int ShowFunctions(const std::string& name, const Console& console) {
  const std::string text = FunctionHelpText(name);
  if (text.empty()) throw NotebookError("there is no function \"" + name + "\"");
  console.out << text;
  return kExitDone;
}

int ShowTokens(const FormulaOptions& options, const Console& console) {
  return PrintParsed(
      options, console, [&](std::u16string_view formula, const FormulaListener& listener) {
        const auto tokens = ktformula::Tokenize(formula, listener.FormulaFunctions());
        return options.json ? TokensJson(tokens) + "\n" : TokensText(tokens);
      });
}

int ShowTree(const FormulaOptions& options, const Console& console) {
  return PrintParsed(options, console,
                     [&](std::u16string_view formula, const FormulaListener& listener) {
                       const auto tree = listener.MakeTokenTree(formula);
                       return options.json ? TreeJson(tree->top) + "\n" : TreeText(tree->top);
                     });
}

}  // namespace ktnotebook
