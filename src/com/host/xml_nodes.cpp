#include "com/host/xml_nodes.h"

#include "com/base/errors.h"
#include "com/base/text.h"

namespace ktcom {

void CheckCall(HRESULT code, IUnknown& node) {
  Check(code, &node, IID_IXMLDOMNode);
}

std::u16string NodeNameOf(IXMLDOMNode& node) {
  Bstr name;
  CheckCall(node.get_nodeName(name.Receive()), node);
  return name.Text();
}

std::u16string NodeValueOf(IXMLDOMNode& node) {
  Variant value;
  CheckCall(node.get_nodeValue(value.Receive()), node);
  return value.Text();
}

}  // namespace ktcom
