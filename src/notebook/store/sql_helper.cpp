#include "notebook/store/sql_helper.h"

namespace ktnotebook {

namespace {

class SqlHelper final : public ktformula::DatabaseHelper {
 public:
  explicit SqlHelper(KeySource key_source) : key_source_(key_source) {}

  std::u16string TypeName() const override { return u"DatabaseHelper"; }

  std::u16string KeyColumnFragment(std::u16string_view column) override {
    if (key_source_ == KeySource::kRowNumber) return {};
    return std::u16string(column) + u", ";
  }

  std::u16string NextKeyExpression(std::u16string_view sequence) override {
    if (key_source_ == KeySource::kRowNumber) return {};
    return u"nextval('" + std::u16string(sequence) + u"'), ";
  }

  std::u16string Quote(std::u16string_view text) override {
    std::u16string quoted = u"'";
    for (const char16_t unit : text) {
      if (unit == u'\'') quoted.push_back(unit);
      quoted.push_back(unit);
    }
    return quoted + u"'";
  }

 private:
  KeySource key_source_;
};

}  // namespace

ktformula::Ref<ktformula::DatabaseHelper> MakeDatabaseHelper(KeySource key_source) {
  return ktformula::MakeRef<SqlHelper>(key_source);
}

}  // namespace ktnotebook
