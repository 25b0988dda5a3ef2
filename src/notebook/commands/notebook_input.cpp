#include "notebook/commands/notebook_input.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <utility>

#include "notebook/commands/commands.h"
#include "notebook/files/csv_file.h"
#include "notebook/files/file.h"
#include "notebook/files/notebook_error.h"

namespace ktnotebook {

namespace {

constexpr std::string_view kStandardInput = "-";

std::string CheckSetting(const std::string& setting) {
  const std::size_t separator = setting.find('=');
  const bool has_name = separator != std::string::npos && separator != 0;
  return has_name ? std::string() : "\"" + setting + "\" is not NAME=VALUE";
}

// Takes each "NAME=VALUE" apart; names hold no "=", and the command line lets nothing else through.
ColumnSettings ParseSettings(const std::vector<std::string>& arguments) {
  ColumnSettings settings;
  for (const std::string& argument : arguments) {
    const std::u16string text = ArgumentText(argument);
    const std::size_t separator = text.find(u'=');
    settings.emplace_back(text.substr(0, separator), text.substr(separator + 1));
  }
  return settings;
}

std::string ExtensionOf(const std::string& path) {
  std::string extension = PathText(PathOf(path).extension());
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return extension;
}

// In any encoding that a notebook may have.
bool BeginsLikeNotebook(std::string_view bytes) {
  constexpr std::string_view kMarksAndBlanks("\xEF\xBB\xBF\xFE\xFF\0 \t\r\n", 10);
  const std::size_t first = bytes.find_first_not_of(kMarksAndBlanks);
  return first != std::string_view::npos && bytes[first] == '<';
}

Notebook ReadCsv(std::string bytes, const std::string& source, std::u16string_view name,
                 const CsvArguments& arguments, const ktformula::Locale& locale) {
  const CsvDelimiter delimiter{DelimiterOf(source, arguments), !arguments.delimiter.empty()};
  return ReadCsvNotebook(std::move(bytes), source, name,
                         {ParseSettings(arguments.formulas), ParseSettings(arguments.formats),
                          ParseSettings(arguments.units), ParseSettings(arguments.types),
                          ParseSettings(arguments.definitions), delimiter, locale});
}

// Refuses what goes with CSV files only.
void CheckForNotebook(const std::string& source, const CsvArguments& arguments, bool writes_csv) {
  const bool has_settings = !arguments.formulas.empty() || !arguments.definitions.empty() ||
                            !arguments.formats.empty() || !arguments.units.empty() ||
                            !arguments.types.empty();
  if (has_settings) {
    throw NotebookError(source + ": formulas, definitions, formats, units and types are given to " +
                        "CSV files only");
  }
  if (!arguments.delimiter.empty() && !writes_csv) {
    throw NotebookError(source + ": a delimiter goes with CSV files only");
  }
}

}  // namespace

std::string CheckDelimiter(const std::string& delimiter) {
  if (delimiter == "\\t") return {};
  const bool is_one = delimiter.size() == 1 && static_cast<unsigned char>(delimiter[0]) < 0x80 &&
                      std::isalnum(static_cast<unsigned char>(delimiter[0])) == 0 &&
                      delimiter.find_first_of("\"\r\n") == std::string::npos;
  return is_one ? std::string() : "\"" + delimiter + "\" is no character that parts fields";
}

void AddCsvOptions(CLI::App* command, CsvArguments& arguments) {
  const auto add_setting = [command](const std::string& name, std::vector<std::string>& values,
                                     const std::string& help) {
    command->add_option(name, values, "for CSV files: " + help)
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false)
        ->check(&CheckSetting);
  };
  add_setting("--formula", arguments.formulas,
              "the formula of a new column, or of the empty "
              "cells of one in the file; may be given more than once");
  add_setting("--definition", arguments.definitions,
              "a formula that others call by its name; may be given more than once");
  add_setting("--format", arguments.formats, "number pattern of a formula column, or \"%\"");
  add_setting("--unit", arguments.units, "unit of a column");
  add_setting("--type", arguments.types,
              "data type of a column: string, number, date, Boolean, structure");
  command
      ->add_option(
          "--delimiter", arguments.delimiter,
          "for CSV files: what stands between fields, such as \";\", or \"\\t\" for a tab; "
          "otherwise a comma, in .tsv files a tab")
      ->check(&CheckDelimiter);
}

bool IsCsvName(const std::string& path) {
  const std::string extension = ExtensionOf(path);
  return extension == ".csv" || extension == ".tsv";
}

void RequireNotebookName(const std::string& path) {
  if (!IsCsvName(path)) return;
  throw NotebookError(path +
                      ": a CSV file holds no notebook; \"ktnotebook recalculate FILE.csv -o " +
                      "FILE.xml\" makes one of it");
}

char DelimiterOf(const std::string& path, const CsvArguments& arguments) {
  if (arguments.delimiter == "\\t") return '\t';
  if (!arguments.delimiter.empty()) return arguments.delimiter[0];
  return ExtensionOf(path) == ".tsv" ? '\t' : ',';
}

std::string InputName(const std::string& file) {
  return file == kStandardInput ? "standard input" : file;
}

Notebook ReadInput(const std::string& file, const CsvArguments& arguments, bool writes_csv,
                   const ktformula::Locale& locale) {
  const std::string source = InputName(file);
  std::string bytes = ReadWholeFile(file);
  if (file == kStandardInput && !BeginsLikeNotebook(bytes)) {
    return ReadCsv(std::move(bytes), source, u"table", arguments, locale);
  }
  if (IsCsvName(file)) {
    const std::u16string name = ArgumentText(PathText(PathOf(file).stem()));
    return ReadCsv(std::move(bytes), source, name, arguments, locale);
  }
  CheckForNotebook(source, arguments, writes_csv);
  return ReadNotebook(bytes, source);
}

Notebook ReadInputText(std::string bytes, const std::string& name, const CsvArguments& arguments,
                       const ktformula::Locale& locale) {
  if (!IsCsvName(name) && BeginsLikeNotebook(bytes)) {
    CheckForNotebook(name, arguments, false);
    return ReadNotebook(bytes, name);
  }
  const std::string stem = PathText(PathOf(name).stem());
  return ReadCsv(std::move(bytes), name, ArgumentText(stem.empty() ? "table" : stem), arguments,
                 locale);
}

}  // namespace ktnotebook
