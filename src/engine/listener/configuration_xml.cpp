#include "listener/configuration_xml.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kPropertyFormulaElement = u"propertyFormula";
constexpr std::u16string_view kDefinitionElement = u"definition";

bool IsPropertyKey(std::u16string_view key) {
  if (key.starts_with(u'-')) key.remove_prefix(1);
  return !key.empty() && key.find_first_not_of(u"0123456789") == std::u16string_view::npos;
}

}  // namespace

void WriteConfigurationXml(const FormulaConfiguration& configuration, XmlElement& root,
                           const ColumnNameOfKey& name_of_key) {
  const Ref<XmlDocument> document = root.OwnerDocument();
  for (const auto& [key, formula] : configuration.property_formulas.Entries()) {
    if (name_of_key && !IsPropertyKey(key)) continue;
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
  for (const auto& [name, formula] : configuration.definitions.Entries()) {
    const Ref<XmlElement> element = document->CreateElement(kDefinitionElement);
    element->AppendCData(formula->Formula);
    element->SetAttribute(u"name", name);
    root.AppendChild(*element);
  }
}

ConfigurationTexts ReadConfigurationXml(XmlElement& root, const ColumnKeyOfName& key_of_name) {
  ConfigurationTexts texts;
  for (const Ref<XmlElement>& element : root.ChildElements()) {
    const std::u16string kind = element->NodeName();
    const std::u16string name = element->Attribute(u"name").value_or(u"");
    if (kind == kPropertyFormulaElement) {
      const auto key = element->Attribute(u"key");
      texts.property_formulas.push_back({key ? *key : key_of_name(name), element->Text(),
                                         element->Attribute(u"format").value_or(u"")});
    } else if (kind == kDefinitionElement) {
      texts.definitions.push_back({name, element->Text(), u""});
    }
  }
  return texts;
}

}  // namespace ktformula
