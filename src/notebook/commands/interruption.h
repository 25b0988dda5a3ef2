// Ctrl-C while long work is done.
#pragma once

#include <exception>
#include <functional>

namespace ktnotebook {

// What ends work that was interrupted; nobody but the command line catches it.
class Interrupted final : public std::exception {
 public:
  const char* what() const noexcept override { return "interrupted, nothing was written"; }
};

// Runs work that calls CheckInterruption now and then. Meanwhile the first Ctrl-C ends the work
// instead of the program: this throws Interrupted, whatever the work made of it. A second one ends
// the program at once. A program that was started to ignore Ctrl-C ignores it here too.
void RunInterruptibly(const std::function<void()>& work);

// Throws Interrupted if Ctrl-C was pressed since the present work began.
void CheckInterruption();

}  // namespace ktnotebook
