// Adapters of the host's database access.
#pragma once

#include "KtFramework9.h"

#include "com/host/foreign.h"
#include "host/database.h"

namespace ktcom {

using ktformula::Ref;

// One row of an ADO row set, or of what has its members: Fields, Item, Value, Update. Always
// called by name.
Ref<ktformula::RowSet> AdaptRowSet(IDispatch* recordset);

// Whether the object is a row set: by its type name or, when it tells none, by having fields.
bool IsRowSet(IDispatch* object);

class ForeignDatabaseAccess final
    : public ForeignObject<ktformula::DatabaseAccess, IKtDatabaseAccess> {
 public:
  using ForeignObject::ForeignObject;
  void Execute(std::u16string_view sql) override;
  Ref<ktformula::RowSet> OpenRow(std::u16string_view sql) override;
};

class ForeignDatabaseHelper final
    : public ForeignObject<ktformula::DatabaseHelper, IKtDatabaseHelper> {
 public:
  using ForeignObject::ForeignObject;
  std::u16string KeyColumnFragment(std::u16string_view column) override;
  std::u16string NextKeyExpression(std::u16string_view sequence) override;
  std::u16string Quote(std::u16string_view text) override;
};

}  // namespace ktcom
