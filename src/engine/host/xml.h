// The XML document model, reduced to what configurations need.
//
// Nodes keep their document alive. Reading and writing raise the parser's own errors.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/ref.h"

namespace ktformula {

class XmlDocument;
class XmlElement;

class XmlNode : public HostObject {
 public:
  virtual std::u16string NodeName() const = 0;
  virtual Ref<XmlDocument> OwnerDocument() = 0;
  // Moves the element to the end of this node's children. An element of another document is copied
  // there, and `child` is the copy from then on.
  virtual void AppendChild(XmlElement& child) = 0;
};

class XmlElement : public XmlNode {
 public:
  // Empty when the element has no such attribute.
  virtual std::optional<std::u16string> Attribute(std::u16string_view name) const = 0;
  virtual void SetAttribute(std::u16string_view name, std::u16string_view value) = 0;
  virtual void AppendCData(std::u16string_view text) = 0;
  // All character data below this element, CDATA sections included, joined.
  virtual std::u16string Text() const = 0;
  // The children that are elements, in document order.
  virtual std::vector<Ref<XmlElement>> ChildElements() = 0;
  // The element as XML text.
  virtual std::u16string Xml() const = 0;
};

class XmlDocument : public HostObject {
 public:
  virtual Ref<XmlElement> CreateElement(std::u16string_view name) = 0;
  // Makes the element the document's root.
  virtual void SetRoot(XmlElement& root) = 0;
  // Replaces the content by the parsed text; raises an error when it is not well-formed.
  virtual void LoadText(std::u16string_view text) = 0;
  // Empty in a new document.
  virtual Ref<XmlElement> Root() = 0;
};

}  // namespace ktformula
