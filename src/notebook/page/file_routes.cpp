// Files: a form as a notebook file, a table as CSV, and forms from either.
#include <algorithm>
#include <array>

#include "notebook/commands/address.h"
#include "notebook/commands/notebook_input.h"
#include "notebook/files/csv_file.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "notebook/page/api_routes.h"
#include "notebook/tables/recalculation.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

// With everything but ASCII letters and digits in escapes, so that it can stand in a header.
std::string EscapedName(std::u16string_view name) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string escaped;
  for (const char byte : ToUtf8(name)) {
    const auto code = static_cast<unsigned char>(byte);
    const bool is_plain = (code >= '0' && code <= '9') || (code >= 'A' && code <= 'Z') ||
                          (code >= 'a' && code <= 'z');
    if (is_plain) {
      escaped += byte;
    } else {
      escaped += {'%', kDigits[code >> 4U], kDigits[code & 15U]};
    }
  }
  return escaped;
}

ApiAnswer FileAnswer(std::string bytes, const std::string& type, std::u16string_view name,
                     const std::string& extension, const ServedForm& served) {
  ApiAnswer answer = FormAnswer(std::move(bytes), served);
  answer.content_type = type;
  answer.headers.emplace_back("Content-Disposition",
                              "attachment; filename*=UTF-8''" + EscapedName(name) + extension);
  return answer;
}

std::string AskedDelimiter(const ApiCall& call) {
  const std::string delimiter = ToUtf8(call.Query("delimiter"));
  const std::string complaint = CheckDelimiter(delimiter == "\t" ? "\\t" : delimiter);
  if (call.HasQuery("delimiter") && !complaint.empty()) throw ApiRefusal(400, complaint);
  return delimiter == "\t" ? "\\t" : delimiter;
}

ApiAnswer Export(const ApiCall& call) {
  const Reading reading(call.Notebook(), call.Address());
  const PartAddress part = Found([&] { return FindPart(reading.Forms(), call.Address()); });
  const ServedForm& served = reading.Of(*part.form);
  if (part.field == nullptr) {
    return FileAnswer(WriteNotebook(served.notebook), "application/xml", part.form->Name(), ".xml",
                      served);
  }
  if (!part.field->OwnTable() || part.column != nullptr || part.row) {
    throw ApiRefusal(404, "a form or a table can be exported");
  }
  CsvArguments arguments;
  arguments.delimiter = AskedDelimiter(call);
  CsvStyle style;
  style.delimiter = DelimiterOf("", arguments);
  style.is_spreadsheet_safe = call.Query("spreadsheetSafe") == u"1";
  style.locale = call.LocaleFor(*part.form);
  return FileAnswer(WriteCsv(*part.field->OwnTable(), style), "text/csv; charset=utf-8",
                    part.field->Name(), ".csv", served);
}

// The name, or with a number behind it when it is among these.
std::u16string FreeName(const Names& taken, const std::u16string& name) {
  std::u16string free = name;
  for (std::int64_t number = 2; std::find(taken.begin(), taken.end(), free) != taken.end();
       ++number)
    free = name + u" " + ktformula::ToDecimalText(number);
  return free;
}

ApiAnswer Import(const ApiCall& call) {
  const std::string name = call.HasQuery("name") ? ToUtf8(call.Query("name")) : "table";
  CsvArguments arguments;
  arguments.delimiter = AskedDelimiter(call);
  // Nobody waits while the file is read.
  Notebook notebook = ReadInputText(call.RawBody(), name, arguments,
                                    call.AskedLocale().value_or(ktformula::Locale()));
  for (const Ref<NotebookForm>& form : notebook.forms)
    RecalculateForm(*form, RoundLimit(*form));
  Json notes = Json::array();
  for (const CsvNote& note : notebook.notes)
    notes.push_back(NoteText(note));
  if (!notebook.dropped.empty()) notes.push_back(notebook.dropped + " left out");
  Change change(call.Notebook(), call.Client());
  Names taken = change.Names();
  Json forms = Json::array();
  for (const Ref<NotebookForm>& form : notebook.forms) {
    form->SetName(FreeName(taken, form->Name()));
    taken.push_back(form->Name());
    forms.push_back(ToUtf8(form->Name()));
  }
  change.AddForms(notebook);
  return JsonAnswer({{"forms", forms}, {"notes", notes}}, 201);
}

constexpr std::array kRoutes{
    ApiRoute{"GET", "export/", &Export},
    ApiRoute{"POST", "import", &Import},
};

}  // namespace

std::span<const ApiRoute> FileRoutes() {
  return kRoutes;
}

}  // namespace ktnotebook
