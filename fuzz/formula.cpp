// Formulas: the first line of the input, and a definition "d" in the second, over a small table.
#include "fuzz.h"

#include "functions/function_table.h"
#include "listener/formula_listener.h"
#include "listener/result_formats.h"
#include "notebook/files/utf.h"
#include "test_host/framework.h"
#include "test_host/notebook.h"
#include "values/raised_error.h"

namespace ktformula {
namespace {

constexpr std::string_view kForm = R"(
    table T
      1 X number g formatted | 2 Y string | 3 A number g      | 4 B number | 5 D date | 6 L Boolean
                             |            | entered 1.50 mg   | 1 +/- 1    |          | true
                             |            | n.d.              |            | 2024-02-29 | no
    table U
      7 A number | 8 M structure
      2          | CCO
    structure S = C9
    text Remark = first run)";

// What the columns X and Y show after one pass.
std::string Texts(TestForm& form, FormulaListener& listener) {
  listener.TableNotification(*form.Notification(), nullptr);
  const TestTable& table = form.TableOf(u"T");
  return table.Texts(u"X") + "\n" + table.Texts(u"Y");
}

std::string Recalculate(std::u16string_view formula, std::u16string_view definition,
                        std::u16string_view result_format) {
  const auto framework = MakeRef<TestFramework>();
  framework->create_listener = [](auto) { return MakeRef<MinDigitFormulaFormat>(); };
  const auto form = MakeRef<TestForm>(kForm);
  const auto listener = MakeRef<FormulaListener>(StandardFunctions());
  listener->Initialize(framework, form->OwnerOf(u"T"), nullptr);
  listener->SetResultFormat(result_format);
  listener->SetPropertyFormula(1, formula, u"");
  listener->SetPropertyFormula(2, formula, u"");
  listener->SetDefinition(u"d", definition);
  std::string texts = Texts(*form, *listener) + "\n";
  texts += Texts(*form, *listener);
  try {
    CellValue value;
    listener->EvaluateInCell(formula, form->TableOf(u"T").CellAt(u"A", 1), value);
  } catch (const RaisedError&) {  // NOLINT(bugprone-empty-catch): formulas may raise.
  }
  listener->Terminate();
  return texts;
}

}  // namespace
}  // namespace ktformula

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::u16string text = ktnotebook::FromStoredUtf8(AsText(data, size));
  const std::size_t end = std::min(text.find(u'\n'), text.size());
  const std::u16string formula = text.substr(0, end);
  const std::u16string definition = text.substr(std::min(end + 1, text.size()));
  const std::string first = ktformula::Recalculate(formula, definition, u"");
  ExpectSame("two recalculations", first, ktformula::Recalculate(formula, definition, u""));
  ktformula::Recalculate(formula, definition, u"MinDigit");
  return 0;
}
