#include "com/host/xml_adapters.h"

#include "com/base/errors.h"
#include "com/base/host_pointer.h"
#include "com/base/system_object.h"
#include "com/base/text.h"
#include "com/host/xml_nodes.h"
#include "com/host/xml_text.h"
#include "values/raised_error.h"
#include "values/xml_text.h"

namespace ktcom {

using ktformula::MakeRef;
using ktformula::XmlDocument;
using ktformula::XmlElement;
using ktformula::XmlNode;

namespace {

// The object as a node of some kind, whose identifiers the compiler does not know; else empty.
template <typename Node>
ComPtr<Node> As(IUnknown* object, REFIID identifier) noexcept {
  ComPtr<Node> node;
  object->QueryInterface(identifier, reinterpret_cast<void**>(node.GetAddressOf()));
  return node;
}
ComPtr<IXMLDOMElement> AsElement(IUnknown* object) noexcept {
  return As<IXMLDOMElement>(object, IID_IXMLDOMElement);
}

Ref<XmlDocument> AdaptDocument(ComPtr<IXMLDOMDocument> document);

// What nodes and elements have in common; a node is always also an IXMLDOMNode.
template <typename Base>
class AdaptedNode : public Base {
 public:
  explicit AdaptedNode(ComPtr<IXMLDOMNode> node) : node_(std::move(node)) {}

  IXMLDOMNode* Node() const noexcept { return node_.Get(); }

  const void* Identity() const noexcept override {
    ComPtr<IUnknown> identity;
    node_.As(&identity);
    return identity.Get();
  }
  std::u16string TypeName() const override { return TypeNameOf(node_.Get()); }

  std::u16string NodeName() const override { return NodeNameOf(*Node()); }
  Ref<XmlDocument> OwnerDocument() override {
    ComPtr<IXMLDOMDocument> document;
    CheckCall(node_->get_ownerDocument(document.GetAddressOf()), *Node());
    // A document has no owner: it is its own.
    if (document == nullptr) document = As<IXMLDOMDocument>(Node(), IID_IXMLDOMDocument);
    return AdaptDocument(document);
  }
  void AppendChild(XmlElement& child) override {
    CheckCall(node_->appendChild(ElementOf(child).Get(), nullptr), *Node());
  }

 private:
  ComPtr<IXMLDOMNode> node_;
};

class AdaptedElement final : public AdaptedNode<XmlElement> {
 public:
  explicit AdaptedElement(ComPtr<IXMLDOMElement> element)
      : AdaptedNode(element.Get()), element_(std::move(element)) {}

  const ComPtr<IXMLDOMElement>& Element() const noexcept { return element_; }

  std::optional<std::u16string> Attribute(std::u16string_view name) const override {
    ComPtr<IXMLDOMAttribute> attribute;
    CheckCall(element_->getAttributeNode(Bstr(name), attribute.GetAddressOf()), *Node());
    if (attribute == nullptr) return std::nullopt;
    Variant value;
    CheckCall(attribute->get_value(value.Receive()), *Node());
    return value.Text();
  }

  void SetAttribute(std::u16string_view name, std::u16string_view value) override {
    ktformula::CheckXmlText(value);
    CheckCall(element_->setAttribute(Bstr(name), Variant(value).Get()), *Node());
  }

  void AppendCData(std::u16string_view text) override {
    ktformula::CheckXmlText(text);
    ComPtr<IXMLDOMDocument> document;
    ComPtr<IXMLDOMCDATASection> section;
    CheckCall(element_->get_ownerDocument(document.GetAddressOf()), *Node());
    CheckCall(document->createCDATASection(Bstr(text), section.GetAddressOf()), *document.Get());
    CheckCall(element_->appendChild(section.Get(), nullptr), *Node());
  }

  std::u16string Text() const override {
    std::u16string text;
    AppendTextBelow(*Node(), text);
    return text;
  }

  std::vector<Ref<XmlElement>> ChildElements() override {
    std::vector<Ref<XmlElement>> elements;
    ForEachChild(*Node(), [&](IXMLDOMNode& child) {
      ComPtr<IXMLDOMElement> element = AsElement(&child);
      if (element != nullptr) elements.push_back(MakeRef<AdaptedElement>(std::move(element)));
    });
    return elements;
  }

  std::u16string Xml() const override { return XmlText(*Node()); }

 private:
  // The model's own "text" trims blanks, and formulas are kept to the letter.
  static void AppendTextBelow(IXMLDOMNode& node, std::u16string& text) {
    DOMNodeType type = NODE_INVALID;
    CheckCall(node.get_nodeType(&type), node);
    if (type == NODE_TEXT || type == NODE_CDATA_SECTION) text += NodeValueOf(node);
    ForEachChild(node, [&](IXMLDOMNode& child) { AppendTextBelow(child, text); });
  }

  ComPtr<IXMLDOMElement> element_;
};

class AdaptedDocument final : public XmlDocument {
 public:
  explicit AdaptedDocument(ComPtr<IXMLDOMDocument> document) : document_(std::move(document)) {}

  std::u16string TypeName() const override { return TypeNameOf(document_.Get()); }

  Ref<XmlElement> CreateElement(std::u16string_view name) override {
    ComPtr<IXMLDOMElement> element;
    CheckCall(document_->createElement(Bstr(name), element.GetAddressOf()), *document_.Get());
    return MakeRef<AdaptedElement>(std::move(element));
  }

  void SetRoot(XmlElement& root) override {
    CheckCall(document_->putref_documentElement(ElementOf(root).Get()), *document_.Get());
  }

  void LoadText(std::u16string_view text) override {
    VARIANT_BOOL loaded = VARIANT_FALSE;
    CheckCall(document_->loadXML(Bstr(text), &loaded), *document_.Get());
    if (loaded == VARIANT_FALSE) RaiseParseError();
  }

  Ref<XmlElement> Root() override {
    ComPtr<IXMLDOMElement> root;
    CheckCall(document_->get_documentElement(root.GetAddressOf()), *document_.Get());
    return root != nullptr ? MakeRef<AdaptedElement>(std::move(root)) : nullptr;
  }

 private:
  [[noreturn]] void RaiseParseError() const {
    ComPtr<IXMLDOMParseError> error;
    CheckCall(document_->get_parseError(error.GetAddressOf()), *document_.Get());
    LONG code = E_FAIL;
    Bstr reason;
    error->get_errorCode(&code);
    error->get_reason(reason.Receive());
    std::u16string_view text = View(reason);
    while (!text.empty() && text.back() <= u' ')
      text.remove_suffix(1);
    throw ktformula::RaisedError(code, u"XML",
                                 text.empty() ? u"the text is not well-formed XML" : text);
  }

  ComPtr<IXMLDOMDocument> document_;
};

Ref<XmlDocument> AdaptDocument(ComPtr<IXMLDOMDocument> document) {
  return MakeRef<AdaptedDocument>(std::move(document));
}

}  // namespace

Ref<XmlDocument> NewXmlDocument() {
  // Version 4.0 is what notebooks have; systems without it have 6.0, which does the same here.
  ComPtr<IUnknown> created = TryCreateObject(u"MSXML2.DOMDocument.4.0", IID_IXMLDOMDocument);
  if (created == nullptr) {
    created = CreateObject(u"MSXML2.DOMDocument.6.0", IID_IXMLDOMDocument);
  }
  const ComPtr<IXMLDOMDocument> document(static_cast<IXMLDOMDocument*>(created.Get()));
  Check(document->put_async(VARIANT_FALSE));
  Check(document->put_resolveExternals(VARIANT_FALSE));
  Check(document->put_validateOnParse(VARIANT_FALSE));
  // Formulas are kept to the letter.
  Check(document->put_preserveWhiteSpace(VARIANT_TRUE));
  return AdaptDocument(document);
}

Ref<XmlNode> AdaptXmlNode(IUnknown* node) {
  if (node == nullptr) return nullptr;
  if (ComPtr<IXMLDOMElement> element = AsElement(node)) {
    return MakeRef<AdaptedElement>(std::move(element));
  }
  ComPtr<IXMLDOMNode> other = As<IXMLDOMNode>(node, IID_IXMLDOMNode);
  if (other == nullptr) ktformula::Raise(ktformula::RuntimeError::kTypeMismatch);
  return MakeRef<AdaptedNode<XmlNode>>(std::move(other));
}

ComPtr<IXMLDOMElement> ElementOf(const XmlElement& element) {
  const auto* adapted = dynamic_cast<const AdaptedElement*>(&element);
  if (adapted == nullptr) ktformula::Raise(ktformula::RuntimeError::kTypeMismatch);
  return adapted->Element();
}

IXMLDOMNode* FindNode(const XmlNode& node) noexcept {
  if (const auto* element = dynamic_cast<const AdaptedElement*>(&node)) return element->Node();
  const auto* other = dynamic_cast<const AdaptedNode<XmlNode>*>(&node);
  return other != nullptr ? other->Node() : nullptr;
}

ComPtr<IXMLDOMElement> ElementOrCopy(const XmlElement& element) {
  if (FindNode(element) != nullptr) return ElementOf(element);
  const Ref<XmlDocument> document = NewXmlDocument();
  document->LoadText(element.Xml());
  return ElementOf(*document->Root());
}

bool IsXmlElement(IUnknown* object) noexcept {
  return object != nullptr && AsElement(object) != nullptr;
}

}  // namespace ktcom
