// What differs between databases in the statements that listeners send.
#pragma once

#include "host/database.h"

namespace ktnotebook {

enum class KeySource {
  // Rows number themselves; statements name no key.
  kRowNumber,
  // Keys come from sequences.
  kSequence,
};

ktformula::Ref<ktformula::DatabaseHelper> MakeDatabaseHelper(KeySource key_source);

}  // namespace ktnotebook
