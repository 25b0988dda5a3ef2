// XML documents for tests: elements, attributes, texts and CDATA sections, and nothing else.
#pragma once

#include <memory>
#include <string_view>

#include "host/xml.h"

namespace ktformula {

// A node of the tree: an element, or a text when it has no name.
struct TestXmlNode;

class TestXmlDocument final : public XmlDocument {
 public:
  std::u16string TypeName() const override { return u"DOMDocument"; }
  Ref<XmlElement> CreateElement(std::u16string_view name) override;
  void SetRoot(XmlElement& root) override;
  // Raises kComponentError for a text that it does not understand.
  void LoadText(std::u16string_view text) override;
  Ref<XmlElement> Root() override;

 private:
  std::shared_ptr<TestXmlNode> root_;
};

// The root element of an XML text; it keeps its document alive.
Ref<XmlElement> ParseXml(std::u16string_view text);

}  // namespace ktformula
