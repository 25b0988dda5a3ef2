// Reading nodes of Microsoft's XML document model.
#pragma once

#include <msxml2.h>
#include <string>
#include <utility>

#include "com/base/variant.h"
#include "com/base/windows_headers.h"

namespace ktcom {

// Raises the error that a call of the node or document failed with.
void CheckCall(HRESULT code, IUnknown& node);

std::u16string NodeNameOf(IXMLDOMNode& node);
std::u16string NodeValueOf(IXMLDOMNode& node);

// Calls `visit` with each child, in order.
template <typename Visit>
void ForEachChild(IXMLDOMNode& node, Visit&& visit) {
  ComPtr<IXMLDOMNode> child;
  CheckCall(node.get_firstChild(child.GetAddressOf()), node);
  while (child != nullptr) {
    visit(*child.Get());
    ComPtr<IXMLDOMNode> next;
    CheckCall(child->get_nextSibling(next.GetAddressOf()), *child.Get());
    child = std::move(next);
  }
}

}  // namespace ktcom
