// differ FIRST COUNT: runs the random notebooks of COUNT seeds from FIRST on in all modes and tells
// where one shows something else than the others. Exit status 1 when one did, 2 for wrong usage.
#include <charconv>
#include <cstring>
#include <exception>
#include <iostream>

#include "random_notebooks/comparison.h"

namespace {

constexpr std::uint64_t kProgressInterval = 1'000;
// There is no use in reading more.
constexpr int kMaximumDifferences = 5;

bool ReadCount(const char* text, std::uint64_t& number) {
  const char* const end = text + std::strlen(text);
  return std::from_chars(text, end, number).ptr == end && end != text;
}

int Run(std::uint64_t first, std::uint64_t count) {
  random_notebooks::Totals totals;
  int differences = 0;
  for (std::uint64_t done = 0; done < count && differences < kMaximumDifferences; ++done) {
    const std::string difference =
        random_notebooks::Examine(first + done, random_notebooks::AllModes(), totals);
    if (!difference.empty()) {
      ++differences;
      std::cout << difference << std::endl;
    }
    if ((done + 1) % kProgressInterval == 0) {
      std::cerr << done + 1 << " of " << count << " notebooks\n";
    }
  }
  std::cout << differences << " differences; " << random_notebooks::Describe(totals) << '\n';
  return differences == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::uint64_t first = 0;
  std::uint64_t count = 0;
  if (argc != 3 || !ReadCount(argv[1], first) || !ReadCount(argv[2], count)) {
    std::cerr << "usage: differ FIRST COUNT\n";
    return 2;
  }
  try {
    return Run(first, count);
  } catch (const std::exception& error) {
    std::cerr << "differ: " << error.what() << '\n';
    return 1;
  }
}
