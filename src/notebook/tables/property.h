// What a column's cells are to hold.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "notebook/tables/unit_catalogue.h"

namespace ktnotebook {

enum class DataType { kString, kNumber, kDate, kBoolean, kStructure };

// "string", "number", "date", "Boolean", "structure"; exactly these.
std::u16string_view DataTypeText(DataType type) noexcept;
std::optional<DataType> FindDataType(std::u16string_view text) noexcept;

struct PropertyDefinition {
  std::int32_t key = 0;
  std::u16string name;
  DataType type = DataType::kString;
  // nullptr for none; numbers only. The catalogue owns it.
  const NotebookUnit* unit = nullptr;
  bool number_formatting = false;
};

}  // namespace ktnotebook
