#include <charconv>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <unistd.h>

#include "data.h"
#include "measure.h"
#include "workloads.h"

namespace side_by_side {

namespace {

constexpr std::size_t kRows = 1'000'000;
constexpr std::string_view kHeader = "id,m,w,d";
constexpr std::string_view kLineEnd = "\r\n";

// A folder of this program alone, which goes when it does.
class Folder {
 public:
  Folder()
      : path_(std::filesystem::temp_directory_path() /
              ("side_by_side." + std::to_string(getpid()))) {
    std::filesystem::create_directory(path_);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string File(const char* name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

// In a process of its own, whose memory is nobody's later.
bool WriteInputs(const std::string& path) {
  const Data data(kRows, 1);
  std::ofstream file(path, std::ios::binary);
  file << kHeader << kLineEnd;
  for (std::size_t row = 0; row < kRows; ++row) {
    file << row + 1 << ',' << TextOf(data.m[row]) << ',' << TextOf(data.w[row]) << ','
         << TextOf(data.d[row]) << kLineEnd;
  }
  return file.flush().good();
}

std::string ReadAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string bytes(std::filesystem::file_size(path), '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

// Reads the number that ends at a comma or at the end of a line, and goes behind that.
double TakeNumber(const char*& at, const char* end) {
  double number = 0;
  at = std::from_chars(at, end, number).ptr + 1;
  return number;
}

void AppendNumber(std::string& out, double number) {
  char buffer[32];
  const auto written =
      std::to_chars(std::begin(buffer), std::end(buffer), number, std::chars_format::general, 15);
  out.append(buffer, written.ptr);
}

// The lines with a further field each.
std::string WithResults(const std::string& in) {
  std::string out;
  out.reserve(in.size() + in.size() / 2);
  const char* at = in.data();
  const char* const end = at + in.size();
  out.append(kHeader).append(",r").append(kLineEnd);
  at += kHeader.size() + kLineEnd.size();
  while (at < end) {
    const char* const line = at;
    TakeNumber(at, end);
    const double m = TakeNumber(at, end);
    const double w = TakeNumber(at, end);
    const double d = TakeNumber(at, end);
    out.append(line, at - 1).append(",");
    AppendNumber(out, m / w * 1000 + d);
    out.append(kLineEnd);
    ++at;  // The line feed.
  }
  return out;
}

// Compares what the peers wrote, line by line.
bool AreSame(std::string_view metric, const std::string& path, const std::string& judge) {
  std::ifstream found_file(path, std::ios::binary);
  std::ifstream expected_file(judge, std::ios::binary);
  std::string found, expected;
  for (std::size_t row = 0; std::getline(expected_file, expected); ++row) {
    if (std::getline(found_file, found) && found == expected) continue;
    std::cerr << metric << ": row " << row << ": ktformula has " << found << ", loop has "
              << expected << '\n';
    return false;
  }
  const bool is_end = found_file.peek() == std::ifstream::traits_type::eof();
  if (!is_end) std::cerr << metric << ": ktformula has more rows than loop\n";
  return is_end;
}

bool MeasureFile(std::string_view metric, double Outcome::*figure) {
  const Folder folder;
  const std::string in = folder.File("inputs.csv");
  const std::string computed = folder.File("computed.csv");
  const std::string looped = folder.File("looped.csv");
  const auto recalculate = [&] {
    return BecomeProgram(
        {KT_NOTEBOOK, "recalculate", in, "--formula", "r=[m]/[w]*1000+[d]", "-o", computed});
  };
  const auto loop = [&] {
    return BecomeProgram({"/proc/self/exe", std::string(kLoopOverFile), in, looped});
  };
  return RunApart([&] { return WriteInputs(in); }).done &&
         MeasureProcesses(metric, figure, {{"ktformula", recalculate}, {"loop", loop}}) &&
         AreSame(metric, computed, looped);
}

}  // namespace

bool MeasureFileTime(std::string_view metric) {
  return MeasureFile(metric, &Outcome::seconds);
}

bool MeasureFileMemory(std::string_view metric) {
  return MeasureFile(metric, &Outcome::peak_mebibytes);
}

bool LoopOverFile(const std::string& in, const std::string& out) {
  std::ofstream file(out, std::ios::binary);
  file << WithResults(ReadAll(in));
  return file.flush().good();
}

}  // namespace side_by_side
