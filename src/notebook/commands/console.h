// Where a command reads and writes.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>

#include "notebook/commands/text_table.h"

namespace ktnotebook {

// Data goes to `out`, messages to `err`.
struct Console {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  // How tables look on `out`.
  TableStyle style = {};
  // Whether `err` shows the progress of long work.
  bool shows_progress = false;
  // Whether messages about errors tell their numbers and where in the program they come from.
  bool verbose = false;
  // What the command has done for good, whatever happens afterwards; "" for nothing.
  std::string done = {};

  // Prints a line of UTF-8, printable whatever it is made of. Every message goes this way.
  void Say(std::string_view message) const;
  // Remembers what is done for good. From now on the command outlives whoever reads its output.
  void SetDone(std::string_view what);
};

}  // namespace ktnotebook
