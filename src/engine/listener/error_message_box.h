// How errors that end an action of the user are shown.
#pragma once

#include <string_view>

#include "host/framework.h"
#include "values/raised_error.h"

namespace ktformula {

// Where messages are noted, line by line. Belongs to the caller.
class LogWriter {
 public:
  virtual void WriteLine(std::u16string_view line) = 0;

 protected:
  ~LogWriter() = default;
};

// Shows a warning with an OK button.
using WarningBox = void (*)(std::u16string_view title, std::u16string_view text);

// What shows the warnings of listeners that have no host, for the whole process. It is the standard
// error stream in the beginning.
void UseWarningBox(WarningBox box) noexcept;

// Shows the error as a warning of the host, where there is one, and notes it in the log, if there
// is one. An empty title stands for "Error in " and the path of the host's program. Nothing is
// shown or noted for number 0 and for the number of a dialog that the user cancelled.
void ShowErrorMessageBox(HostFramework* framework, std::u16string_view title,
                         const RaisedError& error, LogWriter* log = nullptr);

}  // namespace ktformula
