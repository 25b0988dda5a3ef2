#include "notebook/commands/formula_options.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "notebook/commands/command_set.h"

namespace ktnotebook {

namespace {

void AddEvaluate(CommandSet& commands) {
  const auto options = std::make_shared<EvaluateOptions>();
  CLI::App* command =
      commands.Add({"eval",
                    "evaluate formulas, alone or as in a cell",
                    {{"ktnotebook eval '1+2*3'", "computes a formula that needs no notebook"},
                     {"ktnotebook eval --file examples/aspirin.xml "
                      "--cell Aspirin/Reactants:Moles:SA '[Mass]*2'",
                      "computes one as in a cell, in base units"},
                     {"echo '\"1/4\"' | ktnotebook eval -", "computes each line, a JSON string"}}},
                   [options](Console& console) { return Evaluate(*options, console); });
  command
      ->add_option("FORMULA", options->formulas,
                   "formulas; \"-\" reads one JSON string a line from standard input")
      ->required();
  command->add_flag("--json", options->json, "print one JSON line for each formula");
  CLI::Option* file =
      command->add_option("--file", options->file, "notebook file that holds the cell")
          ->type_name("FILE");
  CLI::Option* cell =
      command->add_option("--cell", options->cell, "the cell that the formula stands in")
          ->type_name("FORM/TABLE:COLUMN:ROW");
  file->needs(cell);
  cell->needs(file);
}

CLI::App* AddParsed(CommandSet& commands, const CommandHelp& help,
                    int (*run)(const FormulaOptions&, Console&)) {
  const auto options = std::make_shared<FormulaOptions>();
  CLI::App* command =
      commands.Add(help, [options, run](Console& console) { return run(*options, console); });
  command->add_option("FORMULA", options->formula, "the formula")->required();
  command->add_flag("--json", options->json, "print JSON");
  return command;
}

void AddFunctions(CommandSet& commands) {
  const auto options = std::make_shared<FunctionOptions>();
  CLI::App* command = commands.Add(
      {"functions",
       "explain the functions that formulas can call",
       {{"ktnotebook functions", "explains all"}, {"ktnotebook functions SUM", "explains one"}}},
      [options](Console& console) { return ShowFunctions(*options, console); });
  command->add_option("FUNCTION", options->name, "explain this function only");
  command->add_flag("--json", options->json, "print JSON");
}

}  // namespace

void AddFormulaCommands(CommandSet& commands) {
  AddEvaluate(commands);
  commands.AddAllRows(AddParsed(commands,
                                {"tokens",
                                 "show what the tokenizer makes of a formula",
                                 {{"ktnotebook tokens '[Mass]*2/[MW]'", "prints a table"},
                                  {"ktnotebook tokens --json '[Mass]*2/[MW]'", "prints JSON"}}},
                                &ShowTokens));
  AddParsed(commands,
            {"tree",
             "show what the tree builder makes of a formula",
             {{"ktnotebook tree '1+2*3'", "shows what is computed first"},
              {"ktnotebook tree --json '1+2*3'", "prints JSON"}}},
            &ShowTree);
  AddFunctions(commands);
}

}  // namespace ktnotebook
