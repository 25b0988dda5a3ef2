#include "notebook/commands/interruption.h"

#include <atomic>
#include <csignal>

#include "values/raised_error.h"

namespace ktnotebook {

namespace {

// Set by a signal: on some systems within the work, on others in a thread beside it.
std::atomic<bool> is_interrupted = false;
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void NoteInterruption(int signal) {
  std::signal(signal, SIG_DFL);
  is_interrupted = true;
}

// While it lives, the first Ctrl-C is noted.
class Watch {
 public:
  Watch() : former_(std::signal(SIGINT, NoteInterruption)) {
    if (former_ == SIG_IGN) std::signal(SIGINT, SIG_IGN);
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  ~Watch() { std::signal(SIGINT, former_); }

 private:
  void (*former_)(int);
};

}  // namespace

void CheckInterruption() {
  if (is_interrupted) throw Interrupted();
}

void RunInterruptibly(const std::function<void()>& work) {
  is_interrupted = false;
  try {
    const Watch watch;
    work();
  } catch (const ktformula::RaisedError&) {
    // A listener of another module makes an error of its own of what ended it.
    CheckInterruption();
    throw;
  }
  CheckInterruption();
}

}  // namespace ktnotebook
