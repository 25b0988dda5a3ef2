#include "notebook/commands/progress.h"

#include <algorithm>
#include <ostream>

#include "listener/entered_values.h"
#include "notebook/commands/interruption.h"

namespace ktnotebook {

namespace {

// Work that is done sooner shows nothing.
constexpr std::chrono::milliseconds kPatience{500};
constexpr std::chrono::milliseconds kBetweenLines{100};
constexpr std::chrono::seconds kBetweenStates{1};
constexpr std::string_view kClearLine = "\r\x1b[K";

// The cells that listeners compute, those that were typed in left out.
std::uint64_t CountComputedCells(const NotebookForm& form) {
  std::uint64_t count = 0;
  for (const NotebookTable* table : form.Tables()) {
    for (const Ref<NotebookColumn>& column : table->Columns()) {
      if (!table->HasFormula(*column)) continue;
      for (int row = 1; row <= column->CellCount(); ++row) {
        if (column->Cell(row)->StateText() != ktformula::kEnteredState) ++count;
      }
    }
  }
  return count;
}

}  // namespace

ProgressLine::ProgressLine(NotebookForm& form, const Console& console)
    : form_(form), console_(console), next_(Clock::now() + kPatience) {
  form_.Log().on_progress = [this](std::uint64_t) {
    CheckInterruption();
    if (console_.shows_progress && Clock::now() >= next_) Show();
  };
}

ProgressLine::~ProgressLine() {
  if (console_.shows_progress) console_.err << kClearLine << std::flush;
  form_.Log().on_progress = nullptr;
}

void ProgressLine::Show() {
  const WriteLog& log = form_.Log();
  if (!cells_) cells_ = std::max<std::uint64_t>(CountComputedCells(form_), 1);
  const std::uint64_t share = 100 * (log.finished - log.finished_before_round) / *cells_;
  console_.err << kClearLine << "recalculating";
  if (log.round > 1) console_.err << ", round " << log.round;
  console_.err << ": " << std::min<std::uint64_t>(share, 100) << " %" << std::flush;
  next_ = Clock::now() + kBetweenLines;
}

StatusLine::StatusLine(std::function<std::string()> text, const Console& console)
    : text_(std::move(text)), console_(console), next_(Clock::now() + kPatience) {}

void StatusLine::Tick() {
  CheckInterruption();
  if (!console_.shows_progress || Clock::now() < next_) return;
  console_.err << kClearLine << text_() << std::flush;
  next_ = Clock::now() + kBetweenStates;
}

void StatusLine::Clear() const {
  if (console_.shows_progress) console_.err << kClearLine << std::flush;
}

}  // namespace ktnotebook
