// Runs the tests of one program, then asserts that no counted object is left alive.
#include <gtest/gtest.h>
#include <iostream>

#include "values/leak_check.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  const std::string leaks = ktformula::KtLeakCheck::Report();
  if (!leaks.empty()) {
    std::cerr << "objects left alive:\n" << leaks;
    return 1;
  }
  return result;
}
