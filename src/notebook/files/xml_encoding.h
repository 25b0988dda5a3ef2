// In which encoding an XML file is written.
#pragma once

#include <string>
#include <string_view>

namespace ktnotebook {

// The file as UTF-8, without a byte order mark, from UTF-8, UTF-16, ISO-8859-1 or US-ASCII,
// whatever its first bytes and its declaration say. Throws XmlError for any other encoding, and
// where the bytes are not what is declared.
std::string XmlToUtf8(std::string_view bytes);

}  // namespace ktnotebook
