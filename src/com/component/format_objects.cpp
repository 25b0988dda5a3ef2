#include "com/component/format_objects.h"

#include "com/base/dictionary.h"

namespace ktcom {

ktformula::ExaminedUnitsMap ToExaminedUnits(IDispatch* dictionary) {
  ktformula::ExaminedUnitsMap units;
  if (dictionary == nullptr) return units;
  const ScriptingDictionary entries{ComPtr<IDispatch>(dictionary)};
  for (const auto& [key, unit] : entries.Entries())
    units.Add(key.Text(), unit.Text());
  return units;
}

}  // namespace ktcom
