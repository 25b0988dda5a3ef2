#include "test_host/xml.h"

#include <utility>

#include "values/raised_error.h"
#include "values/text.h"
#include "values/xml_text.h"

namespace ktformula {

struct TestXmlNode {
  std::u16string name;
  // Of a text.
  std::u16string text;
  bool is_cdata = false;
  std::vector<std::pair<std::u16string, std::u16string>> attributes;
  std::vector<std::shared_ptr<TestXmlNode>> children;
};

namespace {

using NodePointer = std::shared_ptr<TestXmlNode>;

constexpr std::u16string_view kCDataBegin = u"<![CDATA[";
constexpr std::u16string_view kCDataEnd = u"]]>";
constexpr std::pair<std::u16string_view, char16_t> kEntities[] = {
    {u"&lt;", u'<'}, {u"&gt;", u'>'}, {u"&quot;", u'"'}, {u"&apos;", u'\''}, {u"&amp;", u'&'}};

[[noreturn]] void RaiseMalformed() {
  Raise(u"DOMDocument.LoadText", u"the text is no XML");
}

class Parser {
 public:
  explicit Parser(std::u16string_view text) : rest_(text) {}

  NodePointer ReadDocument() {
    SkipBlanks();
    NodePointer root = ReadElement();
    SkipBlanks();
    if (!rest_.empty()) RaiseMalformed();
    return root;
  }

 private:
  bool Take(std::u16string_view token) {
    if (!rest_.starts_with(token)) return false;
    rest_.remove_prefix(token.size());
    return true;
  }
  void Need(std::u16string_view token) {
    if (!Take(token)) RaiseMalformed();
  }
  std::u16string_view TakeUntil(std::u16string_view token) {
    const std::size_t end = rest_.find(token);
    if (end == rest_.npos) RaiseMalformed();
    const std::u16string_view taken = rest_.substr(0, end);
    rest_.remove_prefix(end + token.size());
    return taken;
  }
  void SkipBlanks() {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(u" \r\n\t"), rest_.size()));
  }
  std::u16string ReadName() {
    const std::size_t length = std::min(rest_.find_first_of(u" \r\n\t=/><\"'"), rest_.size());
    if (length == 0) RaiseMalformed();
    const std::u16string name(rest_.substr(0, length));
    rest_.remove_prefix(length);
    return name;
  }

  NodePointer ReadElement() {
    Need(u"<");
    auto node = std::make_shared<TestXmlNode>();
    node->name = ReadName();
    for (SkipBlanks(); !rest_.starts_with(u'/') && !rest_.starts_with(u'>'); SkipBlanks()) {
      std::u16string name = ReadName();
      Need(u"=");
      const bool single = Take(u"'");
      if (!single) Need(u"\"");
      node->attributes.emplace_back(std::move(name), Resolved(TakeUntil(single ? u"'" : u"\"")));
    }
    if (Take(u"/>")) return node;
    Need(u">");
    while (!Take(u"</"))
      ReadChild(*node);
    if (TakeUntil(u">") != node->name) RaiseMalformed();
    return node;
  }
  void ReadChild(TestXmlNode& parent) {
    if (Take(u"<!--")) return void(TakeUntil(u"-->"));
    if (Take(kCDataBegin)) return AddText(parent, std::u16string(TakeUntil(kCDataEnd)), true);
    if (rest_.starts_with(u'<')) return parent.children.push_back(ReadElement());
    const std::u16string text = Resolved(TakeUntil(u"<"));
    rest_ = {rest_.data() - 1, rest_.size() + 1};
    AddText(parent, text, false);
  }
  static void AddText(TestXmlNode& parent, std::u16string text, bool is_cdata) {
    parent.children.push_back(std::make_shared<TestXmlNode>());
    parent.children.back()->text = std::move(text);
    parent.children.back()->is_cdata = is_cdata;
  }

  static std::u16string Resolved(std::u16string_view text) {
    std::u16string resolved;
    while (!text.empty()) {
      std::size_t length = 1;
      char16_t character = text.front();
      for (const auto& [entity, meaning] : kEntities) {
        if (text.starts_with(entity)) length = entity.size(), character = meaning;
      }
      if (length == 1 && character == u'&') RaiseMalformed();
      resolved.push_back(character);
      text.remove_prefix(length);
    }
    return resolved;
  }

  std::u16string_view rest_;
};

std::u16string Escaped(std::u16string_view text) {
  std::u16string escaped;
  for (const char16_t unit : text) {
    std::u16string written(1, unit);
    for (const auto& [entity, meaning] : kEntities) {
      if (unit == meaning && unit != u'\'') written = entity;
    }
    escaped += written;
  }
  return escaped;
}

// A section can not hold its own end: there it is parted in two.
std::u16string CDataSection(std::u16string_view text) {
  const std::size_t end = text.find(kCDataEnd);
  const std::size_t part = end == text.npos ? text.size() : end + 2;
  std::u16string section(kCDataBegin);
  section.append(text.substr(0, part)).append(kCDataEnd);
  return part == text.size() ? section : section + CDataSection(text.substr(part));
}

std::u16string Written(const TestXmlNode& node) {
  if (node.name.empty()) return node.is_cdata ? CDataSection(node.text) : Escaped(node.text);
  std::u16string xml = u"<" + node.name;
  for (const auto& [name, value] : node.attributes)
    xml += u" " + name + u"=\"" + Escaped(value) + u"\"";
  if (node.children.empty()) return xml + u"/>";
  xml += u">";
  for (const NodePointer& child : node.children)
    xml += Written(*child);
  return xml + u"</" + node.name + u">";
}

std::u16string TextOf(const TestXmlNode& node) {
  std::u16string text = node.text;
  for (const NodePointer& child : node.children)
    text += TextOf(*child);
  return text;
}

class TestXmlElement final : public XmlElement {
 public:
  TestXmlElement(Ref<XmlDocument> document, NodePointer node)
      : document_(std::move(document)), node_(std::move(node)) {}

  const NodePointer& Node() const { return node_; }

  std::u16string TypeName() const override { return u"IXMLDOMElement"; }
  std::u16string NodeName() const override { return node_->name; }
  Ref<XmlDocument> OwnerDocument() override { return document_; }
  void AppendChild(XmlElement& child) override {
    node_->children.push_back(static_cast<TestXmlElement&>(child).node_);
  }
  std::optional<std::u16string> Attribute(std::u16string_view name) const override {
    for (const auto& [known, value] : node_->attributes) {
      if (known == name) return value;
    }
    return std::nullopt;
  }
  void SetAttribute(std::u16string_view name, std::u16string_view value) override {
    CheckXmlText(value);
    node_->attributes.emplace_back(name, value);
  }
  void AppendCData(std::u16string_view text) override {
    CheckXmlText(text);
    node_->children.push_back(std::make_shared<TestXmlNode>());
    node_->children.back()->text = text;
    node_->children.back()->is_cdata = true;
  }
  std::u16string Text() const override { return TextOf(*node_); }
  std::vector<Ref<XmlElement>> ChildElements() override {
    std::vector<Ref<XmlElement>> elements;
    for (const NodePointer& child : node_->children) {
      if (!child->name.empty()) elements.push_back(MakeRef<TestXmlElement>(document_, child));
    }
    return elements;
  }
  std::u16string Xml() const override { return Written(*node_); }

 private:
  Ref<XmlDocument> document_;
  NodePointer node_;
};

}  // namespace

Ref<XmlElement> TestXmlDocument::CreateElement(std::u16string_view name) {
  auto node = std::make_shared<TestXmlNode>();
  node->name = name;
  return MakeRef<TestXmlElement>(Ref<XmlDocument>(this), std::move(node));
}
void TestXmlDocument::SetRoot(XmlElement& root) {
  root_ = static_cast<TestXmlElement&>(root).Node();
}
void TestXmlDocument::LoadText(std::u16string_view text) {
  root_ = Parser(text).ReadDocument();
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
