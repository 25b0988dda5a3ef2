#include "notebook/commands/progress.h"

#include <chrono>
#include <ostream>

namespace ktnotebook {

namespace {

// Work that is done sooner shows nothing.
constexpr std::chrono::milliseconds kPatience{500};
constexpr std::string_view kClearLine = "\r\x1b[K";

}  // namespace

ProgressLine::ProgressLine(NotebookForm& form, const Console& console)
    : form_(form), console_(console) {
  if (!console.shows_progress) return;
  const auto start = std::chrono::steady_clock::now();
  form_.Log().on_progress = [&console, start](std::uint64_t finished) {
    if (std::chrono::steady_clock::now() - start < kPatience) return;
    console.err << kClearLine << "computed " << finished << " cells" << std::flush;
  };
}

ProgressLine::~ProgressLine() {
  if (console_.shows_progress) console_.err << kClearLine << std::flush;
  form_.Log().on_progress = nullptr;
}

}  // namespace ktnotebook
