#include "notebook/commands/console.h"

#include <ostream>

#include "notebook/files/operating_system.h"
#include "notebook/files/utf.h"

namespace ktnotebook {

void Console::Say(std::string_view message) const {
  err << ToUtf8(Printable(FromStoredUtf8(message))) << '\n';
}

void Console::SetDone(std::string_view what) {
  done = what;
  OutliveReaders();
}

}  // namespace ktnotebook
