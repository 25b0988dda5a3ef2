#include "notebook/console.h"

#include <ostream>

#include "notebook/operating_system.h"
#include "notebook/utf.h"

namespace ktnotebook {

void Console::Say(std::string_view message) const {
  err << ToUtf8(Printable(FromStoredUtf8(message))) << '\n';
}

void Console::SetDone(std::string_view what) {
  done = what;
  OutliveReaders();
}

}  // namespace ktnotebook
