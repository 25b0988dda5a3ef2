// The host's database access, reduced to what listeners store.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/ref.h"

namespace ktformula {

// One row of a query's result, with columns by name. TypeName is "Recordset".
class RowSet : public HostObject {
 public:
  // A database null reads as "" and 0.
  virtual std::u16string TextField(std::u16string_view column) const = 0;
  virtual std::int32_t IntegerField(std::u16string_view column) const = 0;
  virtual void SetTextField(std::u16string_view column, std::u16string_view value) = 0;
  virtual void SetIntegerField(std::u16string_view column, std::int32_t value) = 0;
  // Writes the fields set so far back into the row.
  virtual void Update() = 0;
};

// An open database. Failing statements raise the database's error.
class DatabaseAccess : public HostObject {
 public:
  virtual void Execute(std::u16string_view sql) = 0;
  // The first row of the result; raises an error when there is none.
  virtual Ref<RowSet> OpenRow(std::u16string_view sql) = 0;
};

// What differs between databases in an insert statement.
class DatabaseHelper : public HostObject {
 public:
  // The key column for a column list, with its separator, or "" where rows number themselves.
  virtual std::u16string KeyColumnFragment(std::u16string_view column) = 0;
  // The matching value expression of the sequence, with its separator, or "".
  virtual std::u16string NextKeyExpression(std::u16string_view sequence) = 0;
  // The text as an SQL string literal.
  virtual std::u16string Quote(std::u16string_view text) = 0;
};

}  // namespace ktformula
