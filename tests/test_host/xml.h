// XML documents for the engine's tests, over pugixml.
#pragma once

#include <pugixml.hpp>
#include <string_view>

#include "host/xml.h"

namespace ktformula {

class TestXmlDocument final : public XmlDocument {
 public:
  std::u16string TypeName() const override { return u"DOMDocument"; }
  Ref<XmlElement> CreateElement(std::u16string_view name) override;
  void SetRoot(XmlElement& root) override;
  // Raises kComponentError for a text that is no XML.
  void LoadText(std::u16string_view text) override;
  Ref<XmlElement> Root() override;

 private:
  // What was read, and the elements that were made here.
  pugi::xml_document document_;
  pugi::xml_node root_;
};

// The root element of an XML text; it keeps its document alive.
Ref<XmlElement> ParseXml(std::u16string_view text);

}  // namespace ktformula
