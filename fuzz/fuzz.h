// What the fuzzing programs share. Each gets arbitrary bytes and ends the program by itself when
// something is not as it has to be; crashes, sanitizers' reports and inputs that take too long are
// libFuzzer's to tell.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

inline std::string_view AsText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

inline void ExpectSame(std::string_view what, std::string_view first, std::string_view second) {
  if (first == second) return;
  std::cerr << what << " differ:\n" << first << "\n-----\n" << second << '\n';
  std::abort();
}
