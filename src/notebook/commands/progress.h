// A line on the terminal that tells how far long work is.
#pragma once

#include "notebook/commands/command_line.h"
#include "notebook/tables/model.h"

namespace ktnotebook {

// While it lives, a recalculation of the form that takes a while is shown on the console, if the
// console shows progress; the line is gone afterwards.
class ProgressLine {
 public:
  ProgressLine(NotebookForm& form, const Console& console);
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine();

 private:
  NotebookForm& form_;
  const Console& console_;
};

}  // namespace ktnotebook
