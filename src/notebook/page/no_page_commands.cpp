// A program that shows nothing in a browser.
#include "notebook/page/page_commands.h"

namespace ktnotebook {

void AddPageCommands(CommandSet&) {}

}  // namespace ktnotebook
