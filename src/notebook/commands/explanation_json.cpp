#include "notebook/commands/explanation_json.h"

#include <string_view>
#include <vector>

#include "notebook/commands/explanation_text.h"
#include "notebook/commands/text_output.h"
#include "notebook/tables/explanation_story.h"

namespace ktnotebook {

namespace {

using ktformula::ExplainedStep;
using ktformula::ExplainedValue;
using ktformula::Explanation;
using ktformula::TableCell;

std::u16string AddressOfCell(const TableCell& cell) {
  return AddressOf(static_cast<const CellObject&>(cell).Cell());
}

std::string OutcomeJson(const ExplainedValue& value) {
  return value.raised ? RaisedJson(*value.raised) : ValueJson(value.value);
}

std::u16string TextOfCell(const TableCell& cell, const JsonReader& reader) {
  return TextFor(reader, static_cast<const CellObject&>(cell).Cell());
}

std::string DecidingCellJson(const TableCell& cell, const JsonReader& reader) {
  JsonObject json;
  json.AddText("cell", AddressOfCell(cell));
  json.AddText("text", TextOfCell(cell, reader));
  return json.Text();
}

void AddError(JsonObject& json, const std::optional<ktformula::ArisenError>& error) {
  if (!error) return;
  json.AddText("error", error->description);
  json.AddText("error_from", AddressOfCell(*error->cell));
}

std::string StepsJson(const std::vector<ExplainedStep>& steps, const JsonReader& reader);

std::string StepJson(const ExplainedStep& step, const JsonReader& reader) {
  JsonObject json;
  json.AddNumber("start", step.place.start);
  json.AddNumber("length", step.place.length);
  json.AddText("source", step.source);
  if (step.value) json.Add("value", OutcomeJson(*step.value));
  if (step.cell) {
    json.AddText("text", TextOfCell(*step.cell, reader));
    json.AddText("cell", AddressOfCell(*step.cell));
  }
  json.AddTextUnlessEmpty("origin", OriginText(step.origin));
  json.AddTextUnlessEmpty("formula", step.formula);
  AddError(json, step.error);
  if (step.is_circular) json.Add("circular", "true");
  if (!step.steps.empty()) json.Add("steps", StepsJson(step.steps, reader));
  if (step.more_rows > 0) json.AddNumber("more", step.more_rows);
  return json.Text();
}

std::string StepsJson(const std::vector<ExplainedStep>& steps, const JsonReader& reader) {
  std::string text;
  for (const ExplainedStep& step : steps)
    text += (text.empty() ? "" : ",") + StepJson(step, reader);
  return "[" + text + "]";
}

std::string ReasonsJson(const ktformula::DisplayReasons& reasons, const JsonReader& reader) {
  JsonObject json;
  json.AddText("pattern", reasons.pattern);
  if (reasons.digits) json.Add("digits", std::to_string(*reasons.digits));
  if (reasons.digits_from) json.Add("digits_from", DecidingCellJson(*reasons.digits_from, reader));
  json.AddTextUnlessEmpty("unit", reasons.unit);
  if (reasons.unit_from) json.Add("unit_from", DecidingCellJson(*reasons.unit_from, reader));
  return json.Text();
}

}  // namespace

std::string ExplanationJson(const Explanation& explanation, const FormProblems& problems,
                            const JsonReader& reader) {
  const bool is_computed = explanation.origin == ktformula::ValueOrigin::kComputed;
  JsonObject json;
  json.AddText("cell", AddressOfCell(*explanation.cell));
  json.AddText("text", TextOfCell(*explanation.cell, reader));
  json.AddText("origin", OriginText(explanation.origin));
  if (is_computed) json.AddText("formula", explanation.formula);
  json.Add("value", OutcomeJson(explanation.value));
  AddError(json, explanation.error);
  if (is_computed) json.Add("steps", StepsJson(explanation.steps, reader));
  if (explanation.shown) json.Add("shown", ReasonsJson(*explanation.shown, reader));
  if (explanation.typed_digits) {
    json.Add("shown", "{\"digits\":" + std::to_string(*explanation.typed_digits) + "}");
  }
  if (!problems.problems.empty()) json.Add("problems", ProblemListJson({problems}, reader));
  return json.Text();
}

std::string StoryJson(const Explanation& explanation, const ktformula::Locale& locale) {
  std::string text;
  for (const StoryLine& line : ExplanationStory(explanation, locale, PrintableWords())) {
    JsonObject json;
    json.AddNumber("level", static_cast<std::size_t>(line.level));
    json.AddText("text", line.text);
    json.Add("error", line.is_error ? "true" : "false");
    json.AddTextUnlessEmpty("cell", line.cell);
    text += (text.empty() ? "" : ",") + json.Text();
  }
  return "[" + text + "]";
}

}  // namespace ktnotebook
