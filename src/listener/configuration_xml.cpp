#include "listener/configuration_xml.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kPropertyFormulaElement = u"propertyFormula";
constexpr std::u16string_view kDefinitionElement = u"definition";

}  // namespace

void WriteConfigurationXml(const FormulaConfiguration& configuration, XmlElement& root,
                           const ColumnNameOfKey& name_of_key) {
  const Ref<XmlDocument> document = root.OwnerDocument();
  for (const auto& [key, formula] : configuration.property_formulas) {
    const Ref<XmlElement> element = document->CreateElement(kPropertyFormulaElement);
    element->AppendCData(formula->Formula);
    element->SetAttribute(u"format", formula->StringFormat);
    if (name_of_key) {
      element->SetAttribute(u"name", name_of_key(key));
    } else {
      element->SetAttribute(u"key", key);
    }
    root.AppendChild(*element);
  }
  for (const auto& [name, formula] : configuration.definitions) {
    const Ref<XmlElement> element = document->CreateElement(kDefinitionElement);
    element->AppendCData(formula->Formula);
    element->SetAttribute(u"name", name);
    root.AppendChild(*element);
  }
}

FormulaConfiguration ReadConfigurationXml(XmlElement& root, const FormulaConfiguration& previous,
                                          const ColumnKeyOfName& key_of_name) {
  FormulaConfiguration configuration = previous;
  KeySet keys;
  KeySet names;
  for (const Ref<XmlElement>& element : root.ChildElements()) {
    const std::u16string kind = element->NodeName();
    const std::u16string name = element->Attribute(u"name").value_or(u"");
    if (kind == kPropertyFormulaElement) {
      const auto key_attribute = element->Attribute(u"key");
      const std::u16string key = key_attribute ? *key_attribute : key_of_name(name);
      PutFormula(configuration.property_formulas, key, element->Text(),
                 element->Attribute(u"format").value_or(u""));
      keys.insert(key);
    } else if (kind == kDefinitionElement) {
      PutFormula(configuration.definitions, name, element->Text(), u"");
      names.insert(name);
    }
  }
  RemoveAllBut(configuration.property_formulas, keys);
  RemoveAllBut(configuration.definitions, names);
  return configuration;
}

}  // namespace ktformula
