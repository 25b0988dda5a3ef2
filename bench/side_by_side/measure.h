// Takes the time of peers that do the same work, in turn, and compares what they made.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace side_by_side {

// Somebody who does the work of a metric.
class Peer {
 public:
  Peer() = default;
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  virtual ~Peer() = default;

  virtual std::string_view Name() const = 0;
  // Takes over the inputs of this run, the first of which is 0; not timed.
  virtual void Prepare(std::size_t run) = 0;
  // What is timed.
  virtual void Work() = 0;
  // What the work made, as a cell would show it. Both count from 0.
  virtual std::string Result(std::size_t column, std::size_t row) const = 0;
};

// Unless a metric wants more.
inline constexpr std::size_t kRuns = 11;

using Peers = std::vector<std::unique_ptr<Peer>>;

struct Metric {
  std::string_view name;
  // So many of the metric's units are a second.
  double units = 0;
  // How many results there are.
  std::size_t columns = 0;
  std::size_t rows = 0;
  std::size_t runs = kRuns;
  // How far numbers may be from each other, as a part of them.
  double tolerance = 0;
};

// Lets all peers work once to warm up and then, in turn, for the metric's runs, fewer when that
// takes long, and prints a line for each peer. False, with a message that names metric and row,
// when the results of a peer are not those of the last one: in the first two runs, and at the end.
bool MeasurePeers(const Metric& metric, const Peers& peers);

// How a process went.
struct Outcome {
  bool done = false;
  double seconds = 0;
  double peak_mebibytes = 0;
};

// Runs the work, which tells whether it went well, in a process of its own. Memory is counted
// rightly as long as the calling process is small.
Outcome RunApart(const std::function<bool()>& work);

// Becomes the program of this path; the first argument is its name. False when there is none.
bool BecomeProgram(const std::vector<std::string>& arguments);

struct Process {
  std::string_view name;
  std::function<bool()> work;
};

// Runs the processes in turn and prints a line with this figure for each. False when one of them
// failed.
bool MeasureProcesses(std::string_view metric, double Outcome::*figure,
                      const std::vector<Process>& processes);

// Keeps this program and whatever it starts on one core.
void StayOnOneCore(char** arguments);

}  // namespace side_by_side
