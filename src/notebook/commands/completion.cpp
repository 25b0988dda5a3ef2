// The completion of command lines in bash.
#include <CLI/CLI.hpp>
#include <map>

#include "notebook/commands/function_pages.h"
#include "notebook/commands/help_pages.h"
#include "notebook/commands/option_texts.h"
#include "notebook/files/utf.h"

namespace ktnotebook {

namespace {

// What does not depend on the commands. `kind` is what the word may be, "" for nothing known. Names
// of forms are foreign texts, which compgen -W would expand.
constexpr std::string_view kScript = R"script(
# Sets COMPREPLY to the files that the word may become.
_ktnotebook_files() {
  local name
  compopt -o filenames 2>/dev/null
  while IFS= read -r name; do COMPREPLY+=("$name"); done < <(compgen -f -- "$1")
}

# The same for forms of a database, which end in the text given.
_ktnotebook_forms() {
  local typed=${1//\\/} database=$2 end=$3 quote='' name
  [[ $database == *://* ]] && return
  [[ $typed == [\'\"]* ]] && quote=${typed:0:1} typed=${typed:1}
  while IFS= read -r name; do
    [[ $name == "$typed"* ]] || continue
    name+=$end
    [[ -z $quote ]] && printf -v name %q "$name"
    COMPREPLY+=("$name")
  done < <("${COMP_WORDS[0]}" list ${database:+--db "$database"} 2>/dev/null)
}

_ktnotebook() {
  local command='' kind='' options='' database='' arguments=0 i word
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if [[ $word == = ]]; then
      continue
    elif [[ -n $kind ]]; then
      [[ $kind == DATABASE ]] && database=$word
      kind=''
    elif [[ $word == -* ]]; then
      _ktnotebook_kind "$command" "$word"
    elif [[ -z $command ]]; then
      command=$word
    else
      arguments=$((arguments + 1))
    fi
  done
  word=${COMP_WORDS[COMP_CWORD]}
  [[ $word == = ]] && word=''
  COMPREPLY=()
  if [[ -z $kind && $word == -* ]]; then
    _ktnotebook_options "$command"
    COMPREPLY=($(compgen -W "$options" -- "$word"))
    return
  fi
  [[ -z $kind && -z $command ]] && kind=COMMAND
  [[ -z $kind ]] && _ktnotebook_kind "$command" "$arguments"
  case $kind in
    COMMAND) COMPREPLY=($(compgen -W "$_ktnotebook_commands" -- "$word")) ;;
    FUNCTION) COMPREPLY=($(compgen -W "$_ktnotebook_functions" -- "$word")) ;;
    SHELL) COMPREPLY=($(compgen -W bash -- "$word")) ;;
    FILE | FOLDER | DATABASE) _ktnotebook_files "$word" ;;
    FORM) _ktnotebook_forms "$word" "$database" '' ;;
    FORM/*)
      compopt -o nospace 2>/dev/null
      _ktnotebook_forms "$word" "$database" /
      ;;
  esac
}

complete -F _ktnotebook ktnotebook
)script";

std::string Quoted(const std::string& word) {
  return "'" + word + "'";
}

// The words with blanks between them.
void Append(std::string& words, const std::string& word) {
  words += (words.empty() ? "" : " ") + word;
}

using Kinds = std::map<std::string, std::string>;

// Adds what follows each option, and what each argument is, to the cases of their kind.
void AddKinds(const std::string& command, const OptionTexts& texts, Kinds& kinds) {
  const auto add = [&](const std::string& word, const std::string& kind) {
    std::string& cases = kinds[kind];
    cases += (cases.empty() ? "" : " | ") + Quoted(command + " " + word);
  };
  for (std::size_t i = 0; i < texts.arguments.size(); ++i)
    add(std::to_string(i), texts.arguments[i].value);
  for (const std::vector<OptionText>* options : {&texts.own, &texts.common}) {
    for (const OptionText& option : *options) {
      if (option.value.empty()) continue;
      for (const std::string& name : option.names)
        add(name, option.value);
    }
  }
}

std::string OptionCase(const std::string& pattern, const OptionTexts& texts) {
  std::string names;
  for (const std::vector<OptionText>* options : {&texts.own, &texts.common}) {
    for (const OptionText& option : *options)
      Append(names, option.names.back());
  }
  return "    " + pattern + ") options=" + Quoted(names) + " ;;\n";
}

}  // namespace

std::string BashCompletion(const CommandSet& commands) {
  const OptionTexts program = OptionTextsOf(commands.Program());
  std::string names;
  std::string option_cases;
  Kinds kinds;
  AddKinds("", program, kinds);
  for (const CommandSet::Command& command : commands.All()) {
    const OptionTexts texts = OptionTextsOf(*command.app);
    Append(names, command.help.name);
    option_cases += OptionCase(command.help.name, texts);
    AddKinds(command.help.name, texts, kinds);
  }
  std::string functions;
  for (const std::u16string& name : FunctionNames())
    Append(functions, ToUtf8(name));
  std::string script =
      "# Completes the command lines of ktnotebook: source <(ktnotebook completion bash)\n"
      "_ktnotebook_commands=" +
      Quoted(names) + "\n_ktnotebook_functions=" + Quoted(functions) +
      "\n\n# Sets `options` to those of a command.\n_ktnotebook_options() {\n  case $1 in\n" +
      option_cases + OptionCase("*", program) +
      "  esac\n}\n\n# Sets `kind` to what follows an option, or to what the argument of a number "
      "is.\n"
      "_ktnotebook_kind() {\n  case \"$1 $2\" in\n";
  for (const auto& [kind, cases] : kinds)
    script += "    " + cases + ") kind=" + Quoted(kind) + " ;;\n";
  return script + "    *) kind='' ;;\n  esac\n}\n" + std::string(kScript);
}

}  // namespace ktnotebook
