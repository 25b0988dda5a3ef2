#include "com/notebook/database_objects.h"

#include <string>
#include <utility>

#include "com/notebook/object_shell.h"

namespace ktcom {

namespace {

using Row = Ref<ktformula::RowSet>;

// One column of a row.
class FieldObject final : public Object<FieldObject, IKtRecordsetField> {
 public:
  static constexpr const GUID& kClassIdentifier = GUID_NULL;

  FieldObject(Row row, std::u16string column) : row_(std::move(row)), column_(std::move(column)) {}

  // A row tells texts, and "" where the database has nothing: that is null here, which is both an
  // empty text and the number 0.
  HRESULT STDMETHODCALLTYPE get_Value(VARIANT* value) noexcept override {
    if (value == nullptr) return E_POINTER;
    VariantInit(value);
    return Answer([&] {
      const std::u16string text = row_->TextField(column_);
      value->vt = VT_NULL;
      if (text.empty()) return;
      value->bstrVal = Bstr(text).Detach();
      value->vt = VT_BSTR;
    });
  }
  HRESULT STDMETHODCALLTYPE put_Value(VARIANT value) noexcept override {
    return Answer([&] {
      const Variant set(value);
      if (set.Get().vt == VT_BSTR) {
        row_->SetTextField(column_, View(set.Get().bstrVal));
      } else {
        row_->SetIntegerField(column_, set.Integer());
      }
    });
  }

 private:
  Row row_;
  std::u16string column_;
};

class FieldsObject final : public Object<FieldsObject, IKtRecordsetFields> {
 public:
  static constexpr const GUID& kClassIdentifier = GUID_NULL;

  explicit FieldsObject(Row row) : row_(std::move(row)) {}

  HRESULT STDMETHODCALLTYPE get_Item(VARIANT name, IKtRecordsetField** value) noexcept override {
    return Give(value, [&] { return MakeObject<FieldObject>(row_, Variant(name).Text()); });
  }

 private:
  Row row_;
};

// A row that is there: the notebook refuses a query without one.
class RecordsetObject final : public Shell<RecordsetObject, ktformula::RowSet, IKtRecordset> {
 public:
  static constexpr const GUID& kClassIdentifier = CLSID_Recordset;

  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE get_Fields(IKtRecordsetFields** value) noexcept override {
    return Give(value, [&] { return MakeObject<FieldsObject>(Row(&Own())); });
  }
  HRESULT STDMETHODCALLTYPE get_EOF(VARIANT_BOOL* value) noexcept override {
    return Give(value, [] { return false; });
  }
  HRESULT STDMETHODCALLTYPE Update() noexcept override {
    return Answer([&] { Own().Update(); });
  }
};

class DatabaseAccessObject final
    : public Shell<DatabaseAccessObject, ktformula::DatabaseAccess, IKtDatabaseAccess> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE Execute(BSTR sql) noexcept override {
    return Answer([&] { Own().Execute(View(sql)); });
  }
  HRESULT STDMETHODCALLTYPE OpenRecordset(BSTR sql, IDispatch** recordset) noexcept override {
    return Give(recordset, [&] { return ToObject(Own().OpenRow(View(sql))); });
  }
};

class DatabaseHelperObject final
    : public Shell<DatabaseHelperObject, ktformula::DatabaseHelper, IKtDatabaseHelper> {
 public:
  using Shell::Shell;

  HRESULT STDMETHODCALLTYPE KeyColumnFragment(BSTR column, BSTR* fragment) noexcept override {
    return Give(fragment, [&] { return Own().KeyColumnFragment(View(column)); });
  }
  HRESULT STDMETHODCALLTYPE NextKeyExpression(BSTR sequence, BSTR* expression) noexcept override {
    return Give(expression, [&] { return Own().NextKeyExpression(View(sequence)); });
  }
  HRESULT STDMETHODCALLTYPE Quote(BSTR text, BSTR* literal) noexcept override {
    return Give(literal, [&] { return Own().Quote(View(text)); });
  }
};

}  // namespace

ComPtr<IKtRecordset> ToObject(const Row& row) {
  return FindOrMake<RecordsetObject, IKtRecordset>(row);
}
ComPtr<IKtDatabaseAccess> ToObject(const Ref<ktformula::DatabaseAccess>& database) {
  return FindOrMake<DatabaseAccessObject, IKtDatabaseAccess>(database);
}
ComPtr<IKtDatabaseHelper> ToObject(const Ref<ktformula::DatabaseHelper>& helper) {
  return FindOrMake<DatabaseHelperObject, IKtDatabaseHelper>(helper);
}

}  // namespace ktcom
