// Why cells show what they show, what is wrong, and numbers for pictures.
#include <array>
#include <cmath>

#include "analysis/explanation.h"

#include "notebook/commands/address.h"
#include "notebook/commands/explanation_json.h"
#include "notebook/commands/problems_output.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "notebook/files/watched_form.h"
#include "notebook/page/api_routes.h"

namespace ktnotebook {

namespace {

constexpr std::size_t kMostDepth = 100;

ApiAnswer ExplainCell(const ApiCall& call) {
  const std::size_t depth =
      call.QueryNumber("depth", ktformula::kDefaultExplanationDepth, kMostDepth);
  const Reading reading(call.Notebook(), call.Address());
  const NotebookCell cell = Found([&] { return FindCell(reading.Forms(), call.Address()); });
  NotebookForm& form = cell.OwningColumn().Parent().Parent();
  ServedForm& served = reading.Of(form);
  const Ref<CellObject> object = cell.Object();
  const auto explanation = [&] {
    const ktformula::LocaleScope kept_in(form.OwnLocale().separators);
    return ktformula::ExplainCell(WatchForm(form, *served.notebook.framework), *object,
                                  std::max(static_cast<int>(depth), 1));
  }();
  FormProblems problems = served.Problems();
  std::erase_if(problems.problems,
                [&cell](const ktformula::Problem& problem) { return !Concerns(problem, cell); });
  std::string json = ExplanationJson(explanation, problems, call.Reader());
  if (call.HasQuery("story")) {
    // In front of the end of the object.
    json.insert(json.size() - 1, ",\"story\":" + StoryJson(explanation, call.LocaleFor(form)));
  }
  return FormAnswer(json + "\n", served);
}

ApiAnswer CheckForm(const ApiCall& call) {
  const Reading reading(call.Notebook(), call.Address());
  ServedForm& served = reading.Of(FormAt(reading.Forms(), call));
  return FormAnswer("{\"problems\":" + ProblemListJson({served.Problems()}, call.Reader()) + "}\n",
                    served);
}

const NotebookColumn& NumbersOf(const NotebookTable& table, const std::u16string& name) {
  const NotebookColumn* const column = table.FindColumn(name);
  if (column == nullptr) {
    const Names names =
        NamesOf(table.Columns(), [](const auto& each) { return each->Definition().name; });
    throw ApiRefusal(404, "there is no column \"" + ToUtf8(name) + "\"" + DidYouMean(name, names));
  }
  if (column->Definition().type != DataType::kNumber) {
    throw ApiRefusal(422, "the column \"" + ToUtf8(name) + "\" has no numbers");
  }
  return *column;
}

// The numbers of a column in its unit; of an empty cell, and of a text that is none, null.
std::string NumbersJson(const NotebookColumn& column, std::span<const double> numbers) {
  const NotebookUnit* const unit = column.Definition().unit;
  const ColumnData& data = column.Data();
  std::string text;
  std::u16string buffer;
  for (std::size_t row = 0; row < numbers.size(); ++row) {
    if (row > 0) text += ',';
    const bool is_number =
        std::isfinite(numbers[row]) && (numbers[row] != 0 || !data.Text(row, buffer).empty());
    const double number = unit != nullptr ? unit->FromBase(numbers[row]) : numbers[row];
    text += is_number ? NumberJson(number) : "null";
  }
  return "[" + text + "]";
}

std::string PointsJson(const NotebookColumn& column) {
  const PropertyDefinition& definition = column.Definition();
  JsonObject json;
  json.AddText("column", definition.name);
  json.AddOptionalText("unit", definition.unit != nullptr
                                   ? std::optional(definition.unit->UnitText())
                                   : std::nullopt);
  json.Add("min", NumbersJson(column, column.Data().MinNumbers()));
  json.Add("max", NumbersJson(column, column.Data().MaxNumbers()));
  return json.Text();
}

ApiAnswer ShowPoints(const ApiCall& call) {
  const std::u16string x = call.Query("x");
  const std::vector<std::u16string> ys = call.Queries("y");
  if (x.empty() || ys.empty()) {
    throw ApiRefusal(400, "points have one column \"x\" and at least one \"y\"");
  }
  const Reading reading(call.Notebook(), call.Address());
  const NotebookTable& table = TableAt(reading.Forms(), call);
  ServedForm& served = reading.Of(table.Parent());
  std::string columns;
  for (const std::u16string& y : ys)
    columns += (columns.empty() ? "" : ",") + PointsJson(NumbersOf(table, y));
  std::string rows;
  for (const NotebookRow row : table.Rows())
    rows += (rows.empty() ? "" : ",") + TextJson(row.ID());
  JsonObject json;
  json.Add("version", std::to_string(served.stored.version));
  json.Add("x", PointsJson(NumbersOf(table, x)));
  json.Add("y", "[" + columns + "]");
  json.Add("rows", "[" + rows + "]");
  return FormAnswer(json.Text() + "\n", served);
}

constexpr std::array kRoutes{
    ApiRoute{"GET", "explain/", &ExplainCell},
    ApiRoute{"GET", "check/", &CheckForm},
    ApiRoute{"GET", "points/", &ShowPoints},
};

}  // namespace

std::span<const ApiRoute> ExplainRoutes() {
  return kRoutes;
}

}  // namespace ktnotebook
