#include "test_host/xml.h"

#include <sstream>
#include <utility>

#include "test_host/utf8.h"
#include "values/raised_error.h"
#include "values/xml_text.h"

namespace ktformula {

namespace {

constexpr unsigned kParsing = pugi::parse_default | pugi::parse_ws_pcdata;

std::string TextOf(const pugi::xml_node& node) {
  std::string text = node.value();
  for (const pugi::xml_node child : node.children())
    text += TextOf(child);
  return text;
}

class TestXmlElement final : public XmlElement {
 public:
  TestXmlElement(Ref<XmlDocument> document, pugi::xml_node node)
      : document_(std::move(document)), node_(node) {}

  pugi::xml_node Node() const { return node_; }

  std::u16string TypeName() const override { return u"IXMLDOMElement"; }
  std::u16string NodeName() const override { return FromUtf8(node_.name()); }
  Ref<XmlDocument> OwnerDocument() override { return document_; }
  void AppendChild(XmlElement& child) override {
    auto& own = static_cast<TestXmlElement&>(child);
    const pugi::xml_node moved = node_.append_move(own.node_);
    own.node_ = moved ? moved : node_.append_copy(own.node_);
  }
  std::optional<std::u16string> Attribute(std::u16string_view name) const override {
    const pugi::xml_attribute attribute = node_.attribute(ToUtf8(name).c_str());
    if (!attribute) return std::nullopt;
    return FromUtf8(attribute.value());
  }
  void SetAttribute(std::u16string_view name, std::u16string_view value) override {
    CheckXmlText(value);
    node_.append_attribute(ToUtf8(name).c_str()).set_value(ToUtf8(value).c_str());
  }
  void AppendCData(std::u16string_view text) override {
    CheckXmlText(text);
    node_.append_child(pugi::node_cdata).set_value(ToUtf8(text).c_str());
  }
  std::u16string Text() const override { return FromUtf8(TextOf(node_)); }
  std::vector<Ref<XmlElement>> ChildElements() override {
    std::vector<Ref<XmlElement>> elements;
    for (const pugi::xml_node child : node_.children()) {
      if (child.type() != pugi::node_element) continue;
      elements.push_back(MakeRef<TestXmlElement>(document_, child));
    }
    return elements;
  }
  std::u16string Xml() const override {
    std::ostringstream xml;
    node_.print(xml, "", pugi::format_raw);
    return FromUtf8(xml.str());
  }

 private:
  Ref<XmlDocument> document_;
  pugi::xml_node node_;
};

}  // namespace

Ref<XmlElement> TestXmlDocument::CreateElement(std::u16string_view name) {
  return MakeRef<TestXmlElement>(Ref<XmlDocument>(this),
                                 document_.append_child(ToUtf8(name).c_str()));
}
void TestXmlDocument::SetRoot(XmlElement& root) {
  root_ = static_cast<TestXmlElement&>(root).Node();
}
void TestXmlDocument::LoadText(std::u16string_view text) {
  const std::string utf8 = ToUtf8(text);
  if (!document_.load_buffer(utf8.data(), utf8.size(), kParsing, pugi::encoding_utf8)) {
    Raise(u"DOMDocument.LoadText", u"the text is no XML");
  }
  root_ = document_.document_element();
}
Ref<XmlElement> TestXmlDocument::Root() {
  if (!root_) return nullptr;
  return MakeRef<TestXmlElement>(Ref<XmlDocument>(this), root_);
}

Ref<XmlElement> ParseXml(std::u16string_view text) {
  const auto document = MakeRef<TestXmlDocument>();
  document->LoadText(text);
  return document->Root();
}

}  // namespace ktformula
