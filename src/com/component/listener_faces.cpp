#include "com/component/listener_faces.h"

namespace ktcom {

using ktformula::HostObject;
using ktformula::Ref;

Ref<HostObject> AdaptListenerData(const VARIANT& value) {
  const Variant data(value);
  const VARTYPE type = data.Get().vt;
  if (type != VT_DISPATCH && type != VT_UNKNOWN) return nullptr;
  if (IsXmlElement(data.Get().punkVal)) return AdaptXmlNode(data.Get().punkVal);
  const ComPtr<IDispatch> object = data.Object();
  if (object != nullptr && IsRowSet(object.Get())) return AdaptRowSet(object.Get());
  return AnyObject(object.Get());
}

Ref<ktformula::XmlNode> RequiredNode(IUnknown* node) {
  if (node == nullptr) ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
  return AdaptXmlNode(node);
}

}  // namespace ktcom
