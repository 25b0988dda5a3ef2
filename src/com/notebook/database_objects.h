// The notebook's database as COM objects.
#pragma once

#include "KtFramework9.h"

#include "com/base/variant.h"
#include "host/database.h"
#include "host/ref.h"

namespace ktcom {

// All give nothing for an empty reference.
ComPtr<IKtRecordset> ToObject(const ktformula::Ref<ktformula::RowSet>& row);
ComPtr<IKtDatabaseAccess> ToObject(const ktformula::Ref<ktformula::DatabaseAccess>& database);
ComPtr<IKtDatabaseHelper> ToObject(const ktformula::Ref<ktformula::DatabaseHelper>& helper);

}  // namespace ktcom
