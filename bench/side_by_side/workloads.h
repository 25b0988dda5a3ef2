// The workloads. Each measures its peers, prints a line for each figure, and tells whether all went
// well and the results agree.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace side_by_side {

// formulas_of_rows.cpp: formulas over the cells of their own row.
bool MeasureOneFormula(std::string_view metric);
bool MeasureThreeFormulas(std::string_view metric);
bool MeasureThreeFormulasMemory(std::string_view metric);
bool MeasureEdit(std::string_view metric);

// formulas_of_tables.cpp: formulas over many rows.
template <std::size_t kRows>
bool MeasureShare(std::string_view metric);
bool MeasureFilteredSum(std::string_view metric);
template <std::size_t kRows>
bool MeasureLookUp(std::string_view metric);

// csv_file.cpp: a file in, a file out.
bool MeasureFileTime(std::string_view metric);
bool MeasureFileMemory(std::string_view metric);
// The loop as a program: reads the one file and writes the other.
bool LoopOverFile(const std::string& in, const std::string& out);
inline constexpr std::string_view kLoopOverFile = "--loop-over-file";

}  // namespace side_by_side
