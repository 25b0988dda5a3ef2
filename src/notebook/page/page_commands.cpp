#include "notebook/page/page_commands.h"

#include <CLI/CLI.hpp>
#include <map>
#include <memory>

#include "notebook/commands/command_set.h"
#include "notebook/page/serve.h"

namespace ktnotebook {

void AddPageCommands(CommandSet& commands) {
  const auto options = std::make_shared<ServeOptions>();
  CLI::App* const command =
      commands.Add({"serve",
                    "show a notebook as a page in the browser, until Ctrl-C",
                    {{"ktnotebook serve examples/aspirin.xml", "serves a notebook file"},
                     {"ktnotebook serve --db kinetics.db --key-file kinetics.key",
                      "serves the notebooks of a database, with the same secret each time"}}},
                   [options](Console& console) { return Serve(*options, console); });
  CLI::Option* const file =
      command->add_option("FILE", options->file, "the notebook file that is shown and changed")
          ->check(&CheckGiven);
  command
      ->add_option("--db", options->database,
                   "the database that keeps the notebooks, unless there is a file: a file, made "
                   "when it is missing, or postgresql://...")
      ->type_name("DATABASE")
      ->capture_default_str()
      ->excludes(file);
  command
      ->add_option("--port", options->port, "where browsers find the page; 0 for any that is free")
      ->type_name("N")
      ->capture_default_str()
      ->check(CLI::Range(0, 65535).description(""));
  command
      ->add_option("--address", options->address,
                   "of this machine, for browsers of others too; what they send can be overheard")
      ->type_name("ADDRESS")
      ->capture_default_str();
  command
      ->add_option("--key-file", options->key_file,
                   "keeps the secret of the address, so that it holds when the program starts "
                   "again; made when it is missing")
      ->type_name("FILE")
      ->check(&CheckGiven);
  command
      ->add_option("--page", options->page, "take the page's files from this folder: to work on it")
      ->type_name("FOLDER")
      ->check(&CheckGiven);
  const std::map<std::string, LogLevel> levels{
      {"quiet", LogLevel::kQuiet}, {"changes", LogLevel::kChanges}, {"all", LogLevel::kAll}};
  command
      ->add_option("--log", options->log,
                   "which requests are told: all, changes (with what is refused) or quiet")
      ->type_name("LEVEL")
      ->default_str("all")
      ->transform(CLI::CheckedTransformer(levels).description(""));
}

}  // namespace ktnotebook
