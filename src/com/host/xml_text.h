// Elements of Microsoft's XML document model as XML text.
#pragma once

#include <msxml2.h>
#include <string>

#include "com/base/windows_headers.h"

namespace ktcom {

// The element with its attributes and all that stands below it, comments and instructions left out.
// The text reads back to the same texts: nothing is indented, and carriage returns are references,
// which the model's own text has neither of.
std::u16string XmlText(IXMLDOMNode& element);

}  // namespace ktcom
