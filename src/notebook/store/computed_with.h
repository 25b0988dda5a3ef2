// What stored results were computed with.
#pragma once

#include <string>

namespace ktnotebook {

// This program's version with short hashes of the functions that formulas can call and of the
// units: "ktnotebook 1.2.0, functions 5f3a9c21, units 7be0417d". Results that were computed with
// the same are what this program would compute.
std::string ComputedWith();

}  // namespace ktnotebook
