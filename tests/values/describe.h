// A short notation for values and raised errors, so that tables of cases read as formulas do.
//
//   1..2, 5  number    'abc  string    true, false  boolean    <mvr  structure    D1..2  date
//   !n.d.  missing number    E5 Source: description  error value    ?  unknown
#pragma once

#include <array>
#include <charconv>
#include <cmath>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "values/cell_value.h"
#include "values/raised_error.h"

namespace ktformula {

inline std::string Narrow(std::u16string_view text) {
  std::string narrow;
  for (const char16_t unit : text)
    narrow.push_back(unit < 0x80 ? static_cast<char>(unit) : '?');
  return narrow;
}

// "1..2", "5" for 5..5; shortest forms that read back, "nan" without a sign.
inline std::string Range(double min, double max) {
  std::string range;
  for (const double bound : {min, max}) {
    std::array<char, 32> buffer{};
    std::to_chars(buffer.data(), buffer.data() + buffer.size(), bound);
    range += (range.empty() ? "" : "..") + std::string(std::isnan(bound) ? "nan" : buffer.data());
    if (min == max) break;
  }
  return range;
}

inline std::string Describe(std::int32_t number, std::u16string_view source,
                            std::u16string_view description) {
  return std::to_string(number) + " " + Narrow(source) + ": " + Narrow(description);
}

inline std::string Describe(const CellValue& value) {
  switch (value.CellValueType()) {
    case kCellValueTypeUnknown: return "?";
    case kCellValueTypeError:
      return "E" + Describe(value.ErrorNumber(), value.ErrorSource(), value.ErrorDescription());
    case kCellValueTypeString: return "'" + Narrow(value.Text());
    case kCellValueTypeNumber: {
      const std::string range = Range(value.MinNumber(), value.MaxNumber());
      return value.IsMissingNumber() && range == "nan..nan" ? "!" + Narrow(value.Text()) : range;
    }
    case kCellValueTypeDate: return "D" + Range(value.MinDate(), value.MaxDate());
    case kCellValueTypeBoolean: return Narrow(value.Text());
    case kCellValueTypeStructure: return "<" + Narrow(value.MvrStructure());
  }
  return "no kind";
}

// "" when `body` returns, "raised 13 XMLBoolean: the string ...; " when it raises.
template <typename Body>
std::string Raised(Body&& body) {
  try {
    body();
  } catch (const RaisedError& error) {
    return "raised " + Describe(error.Number(), error.Source(), error.Description()) + "; ";
  }
  return "";
}

// What Describe and Raised give, for tables: "error value" in front of one, "raised" in front of
// what was raised, and the component's own errors without their number.
inline std::string Spelled(std::string description) {
  if (description.starts_with('E')) description.replace(0, 1, "error value ");
  if (description.starts_with("raised ")) description.resize(description.size() - 2);
  const std::string number = "-2147220991 ";
  const std::size_t found = description.find(number);
  return found == description.npos ? description : description.erase(found, number.size());
}

// Checks rows of "INPUT -> OUTPUT" against a function from the one to the other.
template <typename Function>
void ExpectRows(const std::vector<std::string>& rows, Function&& function) {
  for (const std::string& row : rows) {
    const std::size_t arrow = row.rfind(" -> ");
    ASSERT_NE(arrow, std::string::npos) << row;
    EXPECT_EQ(function(row.substr(0, arrow)), row.substr(arrow + 4)) << row;
  }
}

// The same for the lines of a text, blanks around them left out.
template <typename Function>
void ExpectLines(const std::string& text, Function&& function) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines >> std::ws, line);)
    ExpectRows({line}, function);
}

}  // namespace ktformula
