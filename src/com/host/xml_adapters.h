// Microsoft's XML document model as the engine sees it.
#pragma once

#include <msxml2.h>

#include "com/base/variant.h"
#include "com/base/windows_headers.h"
#include "host/xml.h"

namespace ktcom {

using ktformula::Ref;

// A new document without a root.
Ref<ktformula::XmlDocument> NewXmlDocument();

// The adapter of a node; the adapter of an element is an XmlElement. Empty for nullptr; raises
// error 13 for what is no node.
Ref<ktformula::XmlNode> AdaptXmlNode(IUnknown* node);

// The element behind an adapter.
ComPtr<IXMLDOMElement> ElementOf(const ktformula::XmlElement& element);

// The node behind an adapter; nullptr for a node of another document model.
IXMLDOMNode* FindNode(const ktformula::XmlNode& node) noexcept;

// The element behind an adapter; of an element of another model a copy, the root of its document.
ComPtr<IXMLDOMElement> ElementOrCopy(const ktformula::XmlElement& element);

// Whether the object is an element.
bool IsXmlElement(IUnknown* object) noexcept;

}  // namespace ktcom
