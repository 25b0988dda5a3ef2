#include "com/host/xml_text.h"

#include <string_view>

#include "com/base/variant.h"
#include "com/host/xml_nodes.h"

namespace ktcom {

namespace {

constexpr std::u16string_view kCarriageReturn = u"&#13;";

// How a character stands in a text; empty for itself.
std::u16string_view ReferenceTo(char16_t unit, bool in_attribute) {
  switch (unit) {
    case u'&': return u"&amp;";
    case u'<': return u"&lt;";
    case u'>': return u"&gt;";
    case u'\r': return kCarriageReturn;
    case u'"': return in_attribute ? u"&quot;" : u"";
    case u'\t': return in_attribute ? u"&#9;" : u"";
    case u'\n': return in_attribute ? u"&#10;" : u"";
    default: return {};
  }
}

void AppendEscaped(std::u16string_view value, bool in_attribute, std::u16string& text) {
  for (const char16_t unit : value) {
    const std::u16string_view reference = ReferenceTo(unit, in_attribute);
    if (reference.empty()) {
      text += unit;
    } else {
      text += reference;
    }
  }
}

// What a section can not hold stands between two: its own end, in two parts, and a carriage return.
void AppendSection(std::u16string_view value, std::u16string& text) {
  constexpr std::u16string_view kBegin = u"<![CDATA[";
  constexpr std::u16string_view kEnd = u"]]>";
  text += kBegin;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] == u'\r') {
      text.append(kEnd).append(kCarriageReturn).append(kBegin);
    } else {
      if (value.substr(0, i + 1).ends_with(kEnd)) text.append(kEnd).append(kBegin);
      text += value[i];
    }
  }
  text += kEnd;
}

void AppendAttributes(IXMLDOMNode& element, std::u16string& text) {
  ComPtr<IXMLDOMNamedNodeMap> attributes;
  CheckCall(element.get_attributes(attributes.GetAddressOf()), element);
  LONG count = 0;
  CheckCall(attributes->get_length(&count), element);
  for (LONG i = 0; i < count; ++i) {
    ComPtr<IXMLDOMNode> attribute;
    CheckCall(attributes->get_item(i, attribute.GetAddressOf()), element);
    text += u" " + NodeNameOf(*attribute.Get()) + u"=\"";
    AppendEscaped(NodeValueOf(*attribute.Get()), true, text);
    text += u'"';
  }
}

void AppendChildren(IXMLDOMNode& node, std::u16string& text);

void AppendElement(IXMLDOMNode& element, std::u16string& text) {
  const std::u16string name = NodeNameOf(element);
  text += u"<" + name;
  AppendAttributes(element, text);
  std::u16string content;
  AppendChildren(element, content);
  text += content.empty() ? u"/>" : u">" + content + u"</" + name + u">";
}

void AppendNode(IXMLDOMNode& node, std::u16string& text) {
  DOMNodeType type = NODE_INVALID;
  CheckCall(node.get_nodeType(&type), node);
  switch (type) {
    case NODE_ELEMENT: AppendElement(node, text); return;
    case NODE_TEXT: AppendEscaped(NodeValueOf(node), false, text); return;
    case NODE_CDATA_SECTION: AppendSection(NodeValueOf(node), text); return;
    case NODE_ENTITY_REFERENCE: AppendChildren(node, text); return;
    default: return;
  }
}

void AppendChildren(IXMLDOMNode& node, std::u16string& text) {
  ForEachChild(node, [&](IXMLDOMNode& child) { AppendNode(child, text); });
}

}  // namespace

std::u16string XmlText(IXMLDOMNode& element) {
  std::u16string text;
  AppendElement(element, text);
  return text;
}

}  // namespace ktcom
