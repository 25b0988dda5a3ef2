// The commands that show notebooks in a browser.
#pragma once

namespace ktnotebook {

class CommandSet;

// None in a program that is built without them.
void AddPageCommands(CommandSet& commands);

}  // namespace ktnotebook
