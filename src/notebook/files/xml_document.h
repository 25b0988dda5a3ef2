// XML for the notebook: a well-formedness check that names line and reason, and the document model
// of host/xml.h over pugixml.
#pragma once

#include <cstdint>
#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "host/xml.h"
#include "notebook/files/notebook_error.h"

namespace ktnotebook {

// A notebook nests a handful of elements; a file beyond this is no notebook, and a document model
// of it would use up memory.
inline constexpr int kMaximumXmlDepth = 64;

// Why a text is no XML that the notebook takes.
class XmlError : public NotebookError {
 public:
  XmlError(std::uint64_t line, const std::string& reason) : NotebookError(reason), line_(line) {}

  // Counted from 1.
  std::uint64_t Line() const noexcept { return line_; }

 private:
  std::uint64_t line_;
};

// What a text has that the document model does not keep.
struct XmlRemarks {
  std::size_t comments = 0;
  std::size_t instructions = 0;
};

// Throws XmlError unless the text is well-formed UTF-8 XML without a byte order mark and a document
// type and nests at most kMaximumXmlDepth elements. External entities are never read, and what a
// declaration says about the encoding means nothing.
XmlRemarks CheckWellFormed(std::string_view utf8);

// The line, counted from 1, of a node of a document that was parsed from `utf8`.
std::uint64_t LineOf(const pugi::xml_node& node, std::string_view utf8);

// A document whose elements are created apart and then put in place.
class NotebookXmlDocument final : public ktformula::XmlDocument {
 public:
  NotebookXmlDocument();

  std::u16string TypeName() const override { return u"DOMDocument"; }
  ktformula::Ref<ktformula::XmlElement> CreateElement(std::u16string_view name) override;
  void SetRoot(ktformula::XmlElement& root) override;
  void LoadText(std::u16string_view text) override;
  ktformula::Ref<ktformula::XmlElement> Root() override;

  // The same for text that passes CheckWellFormed; throws XmlError for any other.
  XmlRemarks LoadUtf8(std::string_view utf8);
  pugi::xml_node RootNode() const noexcept { return root_; }
  // The element of one of this document's nodes.
  ktformula::Ref<ktformula::XmlElement> Wrap(pugi::xml_node node);
  // Both raise what ktformula::CheckXmlText raises.
  static void SetAttribute(pugi::xml_node node, const char* name, std::u16string_view value);
  static void AppendText(pugi::xml_node node, std::u16string_view text);
  // All character data below the node, joined.
  static std::string TextOf(pugi::xml_node node);

 private:
  pugi::xml_document document_;
  // The root, and the node below which elements wait until they are put in place. A root that was
  // created here stays there: it is found through root_ alone.
  pugi::xml_node root_;
  pugi::xml_node loose_;
};

// The node as UTF-8 text, indented when asked for; reads back to the same texts.
std::string SerializeXml(const pugi::xml_node& node, bool indented);

}  // namespace ktnotebook
