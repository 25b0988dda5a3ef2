// A line on the terminal that tells how far long work is.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "notebook/commands/command_line.h"
#include "notebook/tables/model.h"

namespace ktnotebook {

// While it lives, Ctrl-C is looked for as often as the form tells of its progress, and a
// recalculation that takes a while is shown on the console, if the console shows progress; the line
// is gone afterwards.
class ProgressLine {
 public:
  ProgressLine(NotebookForm& form, const Console& console);
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine();

 private:
  using Clock = std::chrono::steady_clock;

  void Show();

  NotebookForm& form_;
  const Console& console_;
  Clock::time_point next_;
  // The cells that a round computes; counted when the line is first shown.
  std::optional<std::uint64_t> cells_;
};

// The state of work that many share, in a line that is renewed at most once a second, if the
// console shows progress; the line is gone afterwards.
class StatusLine {
 public:
  // What `text` gives is asked for only when it is shown.
  StatusLine(std::function<std::string()> text, const Console& console);
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;
  ~StatusLine() { Clear(); }

  // To be called often: looks for Ctrl-C (see CheckInterruption) and shows the line when it is
  // time.
  void Tick();
  // Makes room for a message.
  void Clear() const;

 private:
  using Clock = std::chrono::steady_clock;

  std::function<std::string()> text_;
  const Console& console_;
  Clock::time_point next_;
};

}  // namespace ktnotebook
