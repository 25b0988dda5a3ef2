#include "measure.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "data.h"

namespace side_by_side {

namespace {

using Clock = std::chrono::steady_clock;

// After this time three runs are enough, and after the longer one any number is.
constexpr double kLongSeconds = 20;
constexpr double kTooLongSeconds = 60;
constexpr std::size_t kFewRuns = 3;
constexpr std::size_t kProcessRuns = 5;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

bool IsEnough(std::size_t runs, std::size_t wanted, double seconds) {
  return runs >= wanted || (runs >= kFewRuns && seconds > kLongSeconds) ||
         seconds > kTooLongSeconds;
}

void Print(std::string_view peer, std::string_view metric, Numbers figures) {
  std::sort(figures.begin(), figures.end());
  std::printf("%.*s\t%.*s\t%.6g\t%.6g\t%.6g\t%zu\n", static_cast<int>(peer.size()), peer.data(),
              static_cast<int>(metric.size()), metric.data(), figures[figures.size() / 2],
              figures.front(), figures.back(), figures.size());
  std::fflush(stdout);
}

std::optional<double> NumberIn(std::string_view text) {
  double number = 0;
  const auto read = std::from_chars(text.begin(), text.end(), number);
  if (read.ec != std::errc() || read.ptr != text.end()) return std::nullopt;
  return number;
}

bool Agree(std::string_view found, std::string_view expected, double tolerance) {
  if (found == expected) return true;
  const std::optional<double> number = NumberIn(found);
  const std::optional<double> wanted = NumberIn(expected);
  return number && wanted && std::abs(*number - *wanted) <= tolerance * std::abs(*wanted);
}

bool IsSame(const Metric& metric, const Peer& peer, const Peer& judge) {
  for (std::size_t column = 0; column < metric.columns; ++column) {
    for (std::size_t row = 0; row < metric.rows; ++row) {
      const std::string found = peer.Result(column, row);
      const std::string expected = judge.Result(column, row);
      if (Agree(found, expected, metric.tolerance)) continue;
      std::cerr << metric.name << ": row " << row + 1 << ", result " << column + 1 << ": "
                << peer.Name() << " has " << found << ", " << judge.Name() << " has " << expected
                << '\n';
      return false;
    }
  }
  return true;
}

bool AreSame(const Metric& metric, const Peers& peers) {
  return std::all_of(peers.begin(), peers.end() - 1, [&](const std::unique_ptr<Peer>& peer) {
    return IsSame(metric, *peer, *peers.back());
  });
}

double TimeOf(Peer& peer, std::size_t run) {
  peer.Prepare(run);
  const Clock::time_point start = Clock::now();
  peer.Work();
  return SecondsSince(start);
}

int StatusOf(const std::function<bool()>& work) {
  try {
    return work() ? EXIT_SUCCESS : EXIT_FAILURE;
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return EXIT_FAILURE;
  }
}

}  // namespace

bool MeasurePeers(const Metric& metric, const Peers& peers) {
  std::vector<Numbers> figures(peers.size());
  const Clock::time_point start = Clock::now();
  bool is_last = false;
  bool agree = true;
  for (std::size_t run = 0; !is_last; ++run) {
    // A warm-up that takes too long is the only run.
    if (run == 1) std::fill(figures.begin(), figures.end(), Numbers());
    for (std::size_t i = 0; i < peers.size(); ++i)
      figures[i].push_back(TimeOf(*peers[i], run) * metric.units);
    is_last = IsEnough(run, metric.runs, SecondsSince(start));
    if (run < 2 || is_last) agree = AreSame(metric, peers) && agree;
  }
  for (std::size_t i = 0; i < peers.size(); ++i)
    Print(peers[i]->Name(), metric.name, std::move(figures[i]));
  return agree;
}

Outcome RunApart(const std::function<bool()>& work) {
  std::fflush(stdout);
  const Clock::time_point start = Clock::now();
  const pid_t child = fork();
  if (child < 0) return {};
  if (child == 0) {
    const int status = StatusOf(work);
    std::fflush(stdout);
    _exit(status);
  }
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child) return {};
  if (WIFSIGNALED(status)) std::cerr << "ended by signal " << WTERMSIG(status) << '\n';
  return {WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS, SecondsSince(start),
          static_cast<double>(usage.ru_maxrss) / 1024};
}

bool BecomeProgram(const std::vector<std::string>& arguments) {
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments)
    pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  execv(pointers.front(), pointers.data());
  std::cerr << arguments.front() << ": cannot be run\n";
  return false;
}

bool MeasureProcesses(std::string_view metric, double Outcome::*figure,
                      const std::vector<Process>& processes) {
  std::vector<Numbers> figures(processes.size());
  const Clock::time_point start = Clock::now();
  for (std::size_t run = 1; run == 1 || !IsEnough(run - 1, kProcessRuns, SecondsSince(start));
       ++run) {
    for (std::size_t i = 0; i < processes.size(); ++i) {
      const Outcome outcome = RunApart(processes[i].work);
      if (!outcome.done) {
        std::cerr << metric << ": " << processes[i].name << " failed\n";
        return false;
      }
      figures[i].push_back(outcome.*figure);
    }
  }
  for (std::size_t i = 0; i < processes.size(); ++i)
    Print(processes[i].name, metric, std::move(figures[i]));
  return true;
}

void StayOnOneCore(char** arguments) {
  cpu_set_t cores;
  if (sched_getaffinity(0, sizeof cores, &cores) != 0 || CPU_COUNT(&cores) == 1) return;
  int last = CPU_SETSIZE - 1;
  while (!CPU_ISSET(last, &cores))
    --last;
  CPU_ZERO(&cores);
  CPU_SET(last, &cores);
  // Begins anew, because libraries count the cores when they are loaded.
  if (sched_setaffinity(0, sizeof cores, &cores) == 0) execv("/proc/self/exe", arguments);
}

}  // namespace side_by_side
