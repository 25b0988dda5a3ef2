#include "com/host/database_adapters.h"

#include <utility>
#include <vector>

#include "values/text.h"

namespace ktcom {

namespace {

constexpr std::u16string_view kRowSetName = u"recordset";

class AdaptedRowSet final : public ktformula::RowSet {
 public:
  explicit AdaptedRowSet(IDispatch* recordset) : recordset_(recordset) {}

  std::u16string TypeName() const override { return u"Recordset"; }

  std::u16string TextField(std::u16string_view column) const override {
    const Variant value = ValueOf(column);
    return value.IsNull() ? u"" : value.Text();
  }
  std::int32_t IntegerField(std::u16string_view column) const override {
    const Variant value = ValueOf(column);
    return value.IsNull() ? 0 : value.Integer();
  }
  void SetTextField(std::u16string_view column, std::u16string_view value) override {
    PutByName(*Field(column).Get(), u"Value", Variant(value));
  }
  void SetIntegerField(std::u16string_view column, std::int32_t value) override {
    PutByName(*Field(column).Get(), u"Value", Variant(value));
  }
  void Update() override { InvokeByName(*recordset_.Get(), u"Update", {}); }

 private:
  Variant ValueOf(std::u16string_view column) const {
    return InvokeByName(*Field(column).Get(), u"Value", {});
  }

  ComPtr<IDispatch> Field(std::u16string_view column) const {
    const ComPtr<IDispatch> fields = Part(*recordset_.Get(), u"Fields", {});
    return Part(*fields.Get(), u"Item", Variants(column));
  }

  static ComPtr<IDispatch> Part(IDispatch& whole, std::u16string_view member,
                                std::vector<Variant> arguments) {
    ComPtr<IDispatch> part = InvokeByName(whole, member, std::move(arguments)).Object();
    if (part == nullptr) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
    return part;
  }

  ComPtr<IDispatch> recordset_;
};

}  // namespace

Ref<ktformula::RowSet> AdaptRowSet(IDispatch* recordset) {
  return ktformula::MakeRef<AdaptedRowSet>(recordset);
}

bool IsRowSet(IDispatch* object) {
  const std::u16string name = ktformula::LowerCase(TypeNameOf(object));
  return name == kRowSetName || (name == u"object" && HasMember(*object, u"Fields"));
}

void ForeignDatabaseAccess::Execute(std::u16string_view sql) {
  Do<&IKtDatabaseAccess::Execute>(u"Execute", sql);
}

Ref<ktformula::RowSet> ForeignDatabaseAccess::OpenRow(std::u16string_view sql) {
  const auto recordset =
      Get<ComPtr<IDispatch>, &IKtDatabaseAccess::OpenRecordset>(u"OpenRecordset", sql);
  if (recordset == nullptr) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
  if (InvokeByName(*recordset.Get(), u"EOF", {}).Boolean()) {
    ktformula::Raise(u"KtFormula9", u"the query has no row: " + std::u16string(sql));
  }
  return AdaptRowSet(recordset.Get());
}

std::u16string ForeignDatabaseHelper::KeyColumnFragment(std::u16string_view column) {
  return Get<std::u16string, &IKtDatabaseHelper::KeyColumnFragment>(u"KeyColumnFragment", column);
}
std::u16string ForeignDatabaseHelper::NextKeyExpression(std::u16string_view sequence) {
  return Get<std::u16string, &IKtDatabaseHelper::NextKeyExpression>(u"NextKeyExpression", sequence);
}
std::u16string ForeignDatabaseHelper::Quote(std::u16string_view text) {
  return Get<std::u16string, &IKtDatabaseHelper::Quote>(u"Quote", text);
}

}  // namespace ktcom
