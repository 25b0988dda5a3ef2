#include "notebook/files/xml_encoding.h"

#include <algorithm>
#include <expat.h>
#include <memory>

#include "notebook/files/utf.h"
#include "notebook/files/xml_document.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

enum class Encoding { kUtf8, kUtf16, kLatin1, kAscii };

constexpr struct {
  std::string_view name;
  Encoding encoding;
} kEncodings[] = {
    {"utf-8", Encoding::kUtf8},        {"utf-16", Encoding::kUtf16},
    {"utf-16le", Encoding::kUtf16},    {"utf-16be", Encoding::kUtf16},
    {"iso-8859-1", Encoding::kLatin1}, {"us-ascii", Encoding::kAscii},
};

// A declaration is shorter than this.
constexpr std::size_t kLongestDeclaration = 4096;

void XMLCALL OnDeclaration(void* data, const XML_Char*, const XML_Char* encoding, int) {
  if (encoding != nullptr) *static_cast<std::string*>(data) = encoding;
}

// What the XML declaration of the text says; "" when it says nothing. Up to its end a text has the
// same bytes in UTF-8 as in every encoding that it may declare.
std::string DeclaredEncoding(std::string_view text) {
  const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
      XML_ParserCreate("UTF-8"), &XML_ParserFree);
  std::string declared;
  XML_SetUserData(parser.get(), &declared);
  XML_SetXmlDeclHandler(parser.get(), OnDeclaration);
  const std::string_view front = text.substr(0, kLongestDeclaration);
  XML_Parse(parser.get(), front.data(), static_cast<int>(front.size()), XML_FALSE);
  return declared;
}

Encoding FindEncoding(const std::string& name) {
  const std::u16string lower = ktformula::LowerCase(FromStoredUtf8(name));
  const auto* const found =
      std::find_if(std::begin(kEncodings), std::end(kEncodings),
                   [&](const auto& known) { return FromStoredUtf8(known.name) == lower; });
  if (found != std::end(kEncodings)) return found->encoding;
  throw XmlError(
      1, "the encoding \"" + name + "\" is not known; UTF-8, UTF-16, ISO-8859-1 and US-ASCII are");
}

// The first character is a mark or "<", one byte of which is 0.
bool IsUtf16(std::string_view bytes) {
  using namespace std::string_view_literals;
  const std::string_view front = bytes.substr(0, 2);
  return front == "\xFF\xFE"sv || front == "\xFE\xFF"sv || front == "<\0"sv || front == "\0<"sv;
}

std::string FromUtf16(std::string_view bytes) {
  if (bytes.size() % 2 != 0) throw XmlError(1, "the text ends within a character of UTF-16");
  const std::size_t high = bytes[0] == '\xFE' || bytes[0] == '\0' ? 0 : 1;
  std::u16string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    const auto upper = static_cast<unsigned char>(bytes[i + high]);
    const auto lower = static_cast<unsigned char>(bytes[i + 1 - high]);
    text.push_back(static_cast<char16_t>((upper << 8U) | lower));
  }
  return ToStoredUtf8(text);
}

std::string FromLatin1(std::string_view bytes) {
  std::u16string text;
  text.reserve(bytes.size());
  for (const char byte : bytes)
    text.push_back(static_cast<unsigned char>(byte));
  return ToStoredUtf8(text);
}

void CheckAscii(std::string_view text) {
  const auto* const found = std::find_if(
      text.begin(), text.end(), [](char byte) { return static_cast<unsigned char>(byte) >= 0x80; });
  if (found == text.end()) return;
  const auto line = static_cast<std::uint64_t>(std::count(text.begin(), found, '\n')) + 1;
  throw XmlError(line, "a character is not US-ASCII, which the text declares");
}

}  // namespace

std::string XmlToUtf8(std::string_view bytes) {
  const bool is_utf16 = IsUtf16(bytes);
  std::string text = is_utf16 ? FromUtf16(bytes) : std::string(bytes);
  const bool is_marked = text.starts_with(kByteOrderMark);
  if (is_marked) text.erase(0, kByteOrderMark.size());
  const std::string declared = DeclaredEncoding(text);
  if (declared.empty()) return text;
  const Encoding encoding = FindEncoding(declared);
  const bool is_marked_utf8 = is_marked && !is_utf16;
  if ((encoding == Encoding::kUtf16) != is_utf16 ||
      (is_marked_utf8 && encoding != Encoding::kUtf8)) {
    throw XmlError(1, "the text is not in \"" + declared + "\", the encoding that it declares");
  }
  if (encoding == Encoding::kAscii) CheckAscii(text);
  return encoding == Encoding::kLatin1 ? FromLatin1(text) : text;
}

}  // namespace ktnotebook
