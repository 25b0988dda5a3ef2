#include "notebook/commands/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <ostream>

#include "notebook/commands/commands.h"
#include "notebook/commands/interruption.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/utf.h"
#include "notebook/tables/locale_names.h"
#include "values/platform.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

// Put in front of arguments that the parser would not take as they are: "-5" and "--5", which are
// formulas and no options, and "[Mass]", which is no list.
constexpr char kShield = '\x01';

constexpr const char* kVersion = "ktnotebook " KT_VERSION;

bool IsOption(const std::string& argument, bool takes_output) {
  if (argument == "--" || argument == "-h") return true;
  if (argument == "-o") return takes_output;
  return argument.size() > 2 && argument[0] == '-' && argument[1] == '-' &&
         ktformula::IsLetter(static_cast<unsigned char>(argument[2]));
}

// The arguments in the order that the parser wants: the last one first.
std::vector<std::string> ShieldArguments(const std::vector<std::string>& arguments) {
  const bool takes_output = std::any_of(arguments.begin(), arguments.end(), [](const auto& word) {
    return word == "recalculate" || word == "export";
  });
  std::vector<std::string> shielded;
  for (const std::string& argument : arguments) {
    const bool is_text =
        argument.starts_with('[') || argument.starts_with(kShield) ||
        (argument.size() > 1 && argument.starts_with('-') && !IsOption(argument, takes_output));
    shielded.push_back(is_text ? kShield + argument : argument);
  }
  std::reverse(shielded.begin(), shielded.end());
  return shielded;
}

void Unshield(std::string& argument) {
  if (argument.starts_with(kShield)) argument.erase(0, 1);
}

void Unshield(std::optional<std::string>& argument) {
  if (argument) Unshield(*argument);
}

// A message of the parser about arguments, which it repeats with their shields.
std::string WithoutShields(const std::string& message) {
  constexpr std::string_view kShielded = {"-[\x01", 3};
  std::string plain;
  for (std::size_t i = 0; i < message.size(); ++i) {
    const bool is_shield = message[i] == kShield && i + 1 < message.size() &&
                           kShielded.find(message[i + 1]) != std::string_view::npos;
    if (is_shield) ++i;
    plain.push_back(message[i]);
  }
  return plain;
}

// An option that is there but empty is a mistake of whoever made up the call.
std::string CheckGiven(const std::string& value) {
  return value.empty() ? "the name is empty" : std::string();
}

// What is wrong with the setting of a column; empty when nothing is.
std::string CheckSetting(std::string setting) {
  Unshield(setting);
  const std::size_t separator = setting.find('=');
  const bool has_name = separator != std::string::npos && separator != 0;
  return has_name ? std::string() : "\"" + setting + "\" is not NAME=VALUE";
}

// All options of all commands, and the command that was chosen.
class CommandLine {
 public:
  explicit CommandLine(Console& console) : console_(console) {
    app_.require_subcommand(1);
    // A slash begins a path or a formula's text on every system.
    app_.allow_windows_style_options(false);
    app_.set_version_flag("--version", kVersion);
    AddLocale(app_);
    AddRecalculate();
    AddEvaluate();
    AddAll(AddParsed("tokens", "show what the tokenizer makes of a formula", &ShowTokens));
    AddParsed("tree", "show what the tree builder makes of a formula", &ShowTree);
    AddFunctions();
    AddStore();
  }

  int Run(const std::vector<std::string>& arguments) {
    try {
      app_.parse(ShieldArguments(arguments));
    } catch (const CLI::Success& help) {
      return app_.exit(help, console_.out, console_.err);
    } catch (const CLI::ParseError& error) {
      console_.Say(UnknownCommand(arguments).value_or(WithoutShields(error.what())));
      console_.Say("Run with --help for more information.");
      return kExitWrongUsage;
    }
    UnshieldOptions();
    console_.style.locale = *FindLocale(locale_);
    return chosen_();
  }

 private:
  using StoreCommand = int (*)(const StoreOptions&, Console&);

  // What to say of a first word that is no command.
  std::optional<std::string> UnknownCommand(const std::vector<std::string>& arguments) {
    if (arguments.empty() || arguments.front().starts_with('-')) return std::nullopt;
    const auto named = app_.get_subcommands(
        [&](const CLI::App* command) { return command->check_name(arguments.front()); });
    if (!named.empty()) return std::nullopt;
    return "there is no command \"" + arguments.front() + "\"";
  }

  void UnshieldOptions() {
    for (std::vector<std::string>* options :
         {&evaluate_.formulas, &recalculate_.formulas, &recalculate_.formats, &recalculate_.units,
          &recalculate_.types}) {
      for (std::string& option : *options) {
        Unshield(option);
      }
    }
    for (std::string* option :
         {&recalculate_.file, &recalculate_.output, &evaluate_.file, &evaluate_.cell,
          &formula_.formula, &store_.database, &store_.target, &store_.output}) {
      Unshield(*option);
    }
    Unshield(store_.value);
    Unshield(store_.format);
  }

  void AddLocale(CLI::App& app) {
    app.add_option("--locale", locale_,
                   "separators of numbers that are typed and shown: \"C\" or a name such as de_DE")
        ->capture_default_str()
        ->check([](const std::string& name) {
          return FindLocale(name) ? std::string() : "unknown locale " + name;
        });
  }

  // For commands that print tables.
  CLI::App* AddAll(CLI::App* command) {
    command->add_flag("--all", console_.style.all_rows, "print all rows of long tables");
    return command;
  }

  CLI::App* AddCommand(const std::string& name, const std::string& help, std::function<int()> run) {
    CLI::App* command = app_.add_subcommand(name, help);
    command->set_version_flag("--version", kVersion);
    AddLocale(*command);
    command->callback([this, run = std::move(run)] { chosen_ = run; });
    return command;
  }

  void AddRecalculate() {
    CLI::App* command = AddCommand(
        "recalculate", "recalculate a notebook file, or a CSV file, and print its tables",
        [this] { return Recalculate(recalculate_, console_); });
    command
        ->add_option("FILE", recalculate_.file,
                     "notebook or .csv file; \"-\" is a notebook from standard input")
        ->required();
    command
        ->add_option("-o,--output", recalculate_.output,
                     "write the notebook, or the .csv file, here instead of printing tables")
        ->check(&CheckGiven);
    command->add_flag("--json", recalculate_.json, "print JSON");
    command
        ->add_option("--rounds", recalculate_.rounds,
                     "rounds to try until nothing changes; otherwise one more than the form has "
                     "formula cells, at least 8 and at most 10000")
        ->check(CLI::Range(1, 1'000'000));
    AddAll(command);
    command->add_flag("--strict", recalculate_.strict, "exit with 3 when a cell shows an error");
    const std::string csv = "for CSV files: ";
    const auto add_setting = [&](const std::string& name, std::vector<std::string>& values,
                                 const std::string& help) {
      command->add_option(name, values, csv + help)
          ->type_name("NAME=VALUE")
          ->allow_extra_args(false)
          ->check(&CheckSetting);
    };
    add_setting("--formula", recalculate_.formulas,
                "the formula of a new column, or of the empty "
                "cells of one in the file; may be given more than once");
    add_setting("--format", recalculate_.formats, "number pattern of a formula column, or \"%\"");
    add_setting("--unit", recalculate_.units, "unit of a column");
    add_setting("--type", recalculate_.types,
                "data type of a column: string, number, date, Boolean, structure");
  }

  void AddEvaluate() {
    CLI::App* command = AddCommand("eval", "evaluate formulas, alone or as in a cell",
                                   [this] { return Evaluate(evaluate_, console_); });
    command
        ->add_option("FORMULA", evaluate_.formulas,
                     "formulas; \"-\" reads one JSON string a line from standard input")
        ->required();
    command->add_flag("--json", evaluate_.json, "print one JSON line for each formula");
    CLI::Option* file =
        command->add_option("--file", evaluate_.file, "notebook file that holds the cell");
    CLI::Option* cell =
        command->add_option("--cell", evaluate_.cell, "the cell, FORM/TABLE:COLUMN:ROW");
    file->needs(cell);
    cell->needs(file);
  }

  CLI::App* AddParsed(const std::string& name, const std::string& help,
                      int (*run)(const FormulaOptions&, Console&)) {
    CLI::App* command = AddCommand(name, help, [this, run] { return run(formula_, console_); });
    command->add_option("FORMULA", formula_.formula, "the formula")->required();
    command->add_flag("--json", formula_.json, "print JSON");
    return command;
  }

  void AddFunctions() {
    AddCommand("functions", "explain the functions that formulas can call", [this] {
      return ShowFunctions(function_name_, console_);
    })->add_option("NAME", function_name_, "explain this function only");
  }

  CLI::App* AddStoreCommand(const std::string& name, const std::string& help,
                            const std::string& target, StoreCommand run) {
    CLI::App* command = AddCommand(name, help, [this, run] { return run(store_, console_); });
    if (!target.empty()) command->add_option(target, store_.target, "")->required();
    command
        ->add_option("--db", store_.database,
                     "the database that keeps the notebooks: a file or postgresql://...")
        ->capture_default_str();
    return command;
  }

  void AddStore() {
    AddStoreCommand("import", "keep a notebook file's forms in the database", "FILE", &Import);
    AddStoreCommand("export", "print a form as a notebook file", "FORM", &Export)
        ->add_option("-o,--output", store_.output, "write the notebook file here")
        ->check(&CheckGiven);
    AddStoreCommand("list", "list the forms in the database", "", &List);
    AddAll(AddStoreCommand("show", "print a form's tables", "FORM", &Show));
    AddAll(AddStoreCommand("set", "type a text into a cell, recalculate, and print what changed",
                           "FORM/TABLE:COLUMN:ROW", &SetCell))
        ->add_option("TEXT", store_.value, "what the cell holds from now on; '' empties it")
        ->required();
    CLI::App* formula = AddAll(AddStoreCommand(
        "formula", "show a column's formula, or change it, recalculate, and print what changed",
        "FORM/TABLE:COLUMN", &EditFormula));
    formula->add_option("FORMULA", store_.value, "the new formula; '' removes it");
    formula->add_option("--format", store_.format, "number pattern, \"%\" for a percentage");
    AddAll(AddStoreCommand(
               "definition",
               "show a named definition, or change it, recalculate, and print what changed",
               "FORM/TABLE:NAME", &EditDefinition))
        ->add_option("FORMULA", store_.value, "the new formula; '' removes it");
  }

  Console& console_;
  CLI::App app_{"Notebooks whose tables calculate themselves.", "ktnotebook"};
  std::string locale_ = "C";
  RecalculateOptions recalculate_;
  EvaluateOptions evaluate_;
  FormulaOptions formula_;
  StoreOptions store_;
  std::string function_name_;
  std::function<int()> chosen_;
};

// Whether the user wants neither colours nor what moves.
bool WantsPlainText() {
  const char* const no_colour = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe)
  return no_colour != nullptr && *no_colour != '\0';
}

struct Failure {
  std::string reason;
  ExitStatus status = kExitFailed;
};

// Why the work failed; nothing when it did not.
std::optional<Failure> FailureOf(const std::function<void()>& work) {
  try {
    work();
  } catch (const Interrupted& interrupted) {
    return Failure{interrupted.what(), kExitInterrupted};
  } catch (const ktformula::RaisedError& error) {
    return Failure{ToUtf8(error.Description()) + " (error " + std::to_string(error.Number()) +
                   " from " + ToUtf8(error.Source()) + ")"};
  } catch (const std::bad_alloc&) {
    return Failure{"out of memory"};
  } catch (const std::exception& error) {
    return Failure{error.what()};
  }
  return std::nullopt;
}

}  // namespace

std::u16string ArgumentText(const std::string& argument) {
  std::optional<std::u16string> text = FromUtf8(argument);
  if (!text) throw NotebookError("an argument is not UTF-8 text");
  return *std::move(text);
}

int RunCommandLine(const std::vector<std::string>& arguments, const Console& console) {
  Console own = console;
  if (WantsPlainText()) own.style.coloured = own.shows_progress = false;
  int status = kExitDone;
  const std::optional<Failure> failure = FailureOf([&] {
    status = CommandLine(own).Run(arguments);
    own.out.flush();
    if (!own.out) throw NotebookError("the output can not be written");
  });
  if (!failure) return status;
  own.Say("ktnotebook: " + failure->reason);
  if (own.done.empty()) return failure->status;
  own.Say("note: " + own.done + " all the same");
  return status;
}

}  // namespace ktnotebook
