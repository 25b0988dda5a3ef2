// A database of one row for tests, which records its statements.
#pragma once

#include <map>
#include <string>

#include "host/database.h"
#include "values/raised_error.h"

namespace ktformula {

struct TestRowSet final : RowSet {
  std::map<std::u16string, std::u16string, std::less<>> texts;
  std::map<std::u16string, std::int32_t, std::less<>> numbers;
  // Reading this column fails.
  std::u16string broken_column;
  int updates = 0;
  std::u16string type_name = u"Recordset";

  std::u16string TypeName() const override { return type_name; }
  std::u16string TextField(std::u16string_view column) const override {
    return Value(texts, column);
  }
  std::int32_t IntegerField(std::u16string_view column) const override {
    return Value(numbers, column);
  }
  void SetTextField(std::u16string_view column, std::u16string_view value) override {
    texts[std::u16string(column)] = value;
  }
  void SetIntegerField(std::u16string_view column, std::int32_t value) override {
    numbers[std::u16string(column)] = value;
  }
  void Update() override { ++updates; }

 private:
  template <typename Values>
  typename Values::mapped_type Value(const Values& values, std::u16string_view column) const {
    if (column == broken_column) throw RaisedError(73, u"Recordset", u"no such column");
    const auto found = values.find(column);
    return found == values.end() ? typename Values::mapped_type{} : found->second;
  }
};

struct TestDatabase final : DatabaseAccess {
  std::u16string sql;
  // The row that every query finds; without one the database is closed.
  Ref<TestRowSet> row;

  std::u16string TypeName() const override { return u"Database"; }
  void Execute(std::u16string_view statement) override { sql = statement; }
  Ref<RowSet> OpenRow(std::u16string_view statement) override {
    sql = statement;
    if (!row) throw RaisedError(72, u"Database", u"closed");
    return row;
  }
};

struct TestDatabaseHelper final : DatabaseHelper {
  std::u16string TypeName() const override { return u"Helper"; }
  std::u16string KeyColumnFragment(std::u16string_view column) override {
    return std::u16string(column) + u", ";
  }
  std::u16string NextKeyExpression(std::u16string_view sequence) override {
    return u"next(" + std::u16string(sequence) + u"), ";
  }
  std::u16string Quote(std::u16string_view text) override {
    return u"<" + std::u16string(text) + u">";
  }
};

}  // namespace ktformula
