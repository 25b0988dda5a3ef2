// The XML form of a FormulaConfiguration:
//
//   <fieldListener>
//     <propertyFormula format="0.00" key="14"><![CDATA[[Mass]/[MW]]]></propertyFormula>
//     <definition name="total"><![CDATA[SUM([Mass])]]></definition>
//   </fieldListener>
//
// A "propertyFormula" refers to its column by "key" or by "name".
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/xml.h"
#include "listener/configuration.h"

namespace ktformula {

// The column's name for a key, both as texts.
using ColumnNameOfKey = std::function<std::u16string(std::u16string_view key)>;
// The column's key for a name.
using ColumnKeyOfName = std::function<std::u16string(std::u16string_view name)>;

// Appends the configuration's elements to `root`. With `name_of_key` columns are written by name,
// and formulas under what can not be a column's key are left out.
void WriteConfigurationXml(const FormulaConfiguration& configuration, XmlElement& root,
                           const ColumnNameOfKey& name_of_key);

// What a configuration's elements say; other elements are ignored.
struct ConfigurationTexts {
  std::vector<FormulaText> property_formulas;
  std::vector<FormulaText> definitions;
};
ConfigurationTexts ReadConfigurationXml(XmlElement& root, const ColumnKeyOfName& key_of_name);

}  // namespace ktformula
