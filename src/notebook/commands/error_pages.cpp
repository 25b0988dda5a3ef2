#include "notebook/commands/error_pages.h"

#include <string_view>

#include "analysis/error_messages.h"
#include "analysis/problem.h"

#include "notebook/files/utf.h"

namespace ktnotebook {

namespace {

// Markdown would take some of a formula's characters for its own.
std::string Code(std::string_view text) {
  return text.find('`') == std::string_view::npos ? "`" + std::string(text) + "`"
                                                  : "`` " + std::string(text) + " ``";
}

std::string ProblemRow(const ktformula::ProblemKind& kind) {
  return "| `" + ToUtf8(kind.text) + "` | " + ToUtf8(ktformula::SeverityText(kind.severity)) +
         " | " + ToUtf8(kind.cause) + " | " + ToUtf8(kind.mend) + " |\n";
}

std::string MessageRow(const ktformula::ErrorMessage& message) {
  return "| " + Code(message.text) + " | " + std::string(message.cause) + " | " +
         std::string(message.mend) + " | " +
         (message.example.empty() ? "" : Code(message.example)) + " |\n";
}

}  // namespace

std::string ErrorReferencePage() {
  std::string page =
      "# Problems and errors\n\n"
      "What `ktnotebook check` reports, and what cells show behind `#Error: `: what each means, "
      "and what\n"
      "to do about it. What the program refuses (files, addresses, options) it says with the place "
      "and the\n"
      "reason.\n\n"
      "## Problems\n\n"
      "Each has a code, which `check` prints in brackets behind its severity. An error is a result "
      "that is\n"
      "missing or can not be trusted; a warning is a formula that may mean something else than was "
      "meant; a\n"
      "note is worth knowing. `--strict` ends with exit status 3 where there is an error.\n\n"
      "| Code | Severity | Means | What to do |\n|---|---|---|---|\n";
  for (const ktformula::ProblemKind& kind : ktformula::ProblemKinds())
    page += ProblemRow(kind);
  page +=
      "\n## What cells show\n\n"
      "`ktnotebook explain` tells of a cell from which other it has its error. In the messages "
      "below, `*`\n"
      "stands for what differs from formula to formula. The examples are formulas for a cell of "
      "the table\n"
      "Reactants in [examples/amide-coupling.xml](../examples/amide-coupling.xml).\n\n"
      "| Message | Means | What to do | Example |\n|---|---|---|---|\n";
  for (const ktformula::ErrorMessage& message : ktformula::ErrorMessages())
    page += MessageRow(message);
  return page;
}

}  // namespace ktnotebook
