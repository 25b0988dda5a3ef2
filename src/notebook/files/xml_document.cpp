#include "notebook/files/xml_document.h"

#include <algorithm>
#include <expat.h>
#include <memory>
#include <sstream>

#include "notebook/files/utf.h"
#include "values/raised_error.h"
#include "values/text.h"
#include "values/xml_text.h"

namespace ktnotebook {

using ktformula::MakeRef;
using ktformula::Ref;

namespace {

struct CheckState {
  XML_Parser parser;
  XmlRemarks remarks = {};
  int depth = 0;
  std::string refusal = {};

  void Refuse(std::string_view reason) {
    if (!refusal.empty()) return;
    refusal = reason;
    XML_StopParser(parser, XML_FALSE);
  }
};

void XMLCALL OnStartElement(void* data, const XML_Char*, const XML_Char**) {
  auto& state = *static_cast<CheckState*>(data);
  if (++state.depth > kMaximumXmlDepth) {
    state.Refuse("elements are nested more than " + std::to_string(kMaximumXmlDepth) + " deep");
  }
}

void XMLCALL OnEndElement(void* data, const XML_Char*) {
  --static_cast<CheckState*>(data)->depth;
}

void XMLCALL OnDoctype(void* data, const XML_Char*, const XML_Char*, const XML_Char*, int) {
  static_cast<CheckState*>(data)->Refuse("a document type declaration is not allowed");
}

void XMLCALL OnComment(void* data, const XML_Char*) {
  ++static_cast<CheckState*>(data)->remarks.comments;
}

void XMLCALL OnInstruction(void* data, const XML_Char*, const XML_Char*) {
  ++static_cast<CheckState*>(data)->remarks.instructions;
}

// Character references and escapes are resolved, blanks between elements are kept.
constexpr unsigned kParseOptions = pugi::parse_cdata | pugi::parse_escapes |
                                   pugi::parse_wconv_attribute | pugi::parse_eol |
                                   pugi::parse_ws_pcdata;

class NotebookXmlElement final : public ktformula::XmlElement {
 public:
  NotebookXmlElement(Ref<NotebookXmlDocument> document, pugi::xml_node node)
      : document_(std::move(document)), node_(node) {}

  pugi::xml_node Node() const noexcept { return node_; }
  // Becomes the last child of a node of the document; an element of another one becomes a copy.
  void MoveBelow(pugi::xml_node parent, const Ref<NotebookXmlDocument>& document) {
    const bool is_foreign = document_.get() != document.get();
    node_ = is_foreign ? parent.append_copy(node_) : parent.append_move(node_);
    document_ = document;
  }

  std::u16string TypeName() const override { return u"IXMLDOMElement"; }
  std::u16string NodeName() const override { return FromStoredUtf8(node_.name()); }
  Ref<ktformula::XmlDocument> OwnerDocument() override { return document_; }
  void AppendChild(ktformula::XmlElement& child) override {
    static_cast<NotebookXmlElement&>(child).MoveBelow(node_, document_);
  }
  std::optional<std::u16string> Attribute(std::u16string_view name) const override {
    const pugi::xml_attribute attribute = node_.attribute(ToStoredUtf8(name).c_str());
    if (attribute.empty()) return std::nullopt;
    return FromStoredUtf8(attribute.value());
  }
  void SetAttribute(std::u16string_view name, std::u16string_view value) override {
    NotebookXmlDocument::SetAttribute(node_, ToStoredUtf8(name).c_str(), value);
  }
  void AppendCData(std::u16string_view text) override {
    ktformula::CheckXmlText(text);
    // A carriage return survives only as a character reference, which a section can not hold.
    bool is_first = true;
    for (const std::u16string_view piece : ktformula::Split(text, u'\r')) {
      if (!is_first) node_.append_child(pugi::node_pcdata).set_value("\r");
      is_first = false;
      node_.append_child(pugi::node_cdata).set_value(ToStoredUtf8(piece).c_str());
    }
  }
  std::u16string Text() const override {
    return FromStoredUtf8(NotebookXmlDocument::TextOf(node_));
  }
  std::vector<Ref<ktformula::XmlElement>> ChildElements() override {
    std::vector<Ref<ktformula::XmlElement>> elements;
    for (const pugi::xml_node child : node_.children()) {
      if (child.type() == pugi::node_element) elements.push_back(document_->Wrap(child));
    }
    return elements;
  }
  std::u16string Xml() const override { return FromStoredUtf8(SerializeXml(node_, false)); }

 private:
  Ref<NotebookXmlDocument> document_;
  pugi::xml_node node_;
};

}  // namespace

XmlRemarks CheckWellFormed(std::string_view utf8) {
  if (utf8.starts_with(kByteOrderMark)) throw XmlError(1, std::string(kSecondMark));
  const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
      XML_ParserCreate("UTF-8"), &XML_ParserFree);
  CheckState state{parser.get()};
  XML_SetUserData(parser.get(), &state);
  XML_SetElementHandler(parser.get(), OnStartElement, OnEndElement);
  XML_SetCommentHandler(parser.get(), OnComment);
  XML_SetProcessingInstructionHandler(parser.get(), OnInstruction);
  XML_SetStartDoctypeDeclHandler(parser.get(), OnDoctype);
  constexpr std::size_t kChunk = std::size_t{1} << 20U;
  for (std::size_t start = 0; start <= utf8.size(); start += kChunk) {
    const std::string_view chunk = utf8.substr(start, kChunk);
    const bool is_last = start + kChunk > utf8.size();
    if (XML_Parse(parser.get(), chunk.data(), static_cast<int>(chunk.size()), is_last) ==
        XML_STATUS_OK) {
      continue;
    }
    const std::string reason =
        state.refusal.empty() ? XML_ErrorString(XML_GetErrorCode(parser.get())) : state.refusal;
    throw XmlError(XML_GetCurrentLineNumber(parser.get()), reason);
  }
  return state.remarks;
}

std::uint64_t LineOf(const pugi::xml_node& node, std::string_view utf8) {
  const auto offset = static_cast<std::size_t>(std::max<std::ptrdiff_t>(node.offset_debug(), 0));
  const std::string_view before = utf8.substr(0, offset);
  return static_cast<std::uint64_t>(std::count(before.begin(), before.end(), '\n')) + 1;
}

NotebookXmlDocument::NotebookXmlDocument() : loose_(document_.append_child("loose")) {}

Ref<ktformula::XmlElement> NotebookXmlDocument::CreateElement(std::u16string_view name) {
  return Wrap(loose_.append_child(ToStoredUtf8(name).c_str()));
}

void NotebookXmlDocument::SetRoot(ktformula::XmlElement& root) {
  auto& element = static_cast<NotebookXmlElement&>(root);
  element.MoveBelow(loose_, Ref<NotebookXmlDocument>(this));
  root_ = element.Node();
}

void NotebookXmlDocument::LoadText(std::u16string_view text) {
  constexpr char16_t kMark = u'\uFEFF';
  if (text.starts_with(kMark)) text.remove_prefix(1);
  try {
    LoadUtf8(ToStoredUtf8(text));
  } catch (const XmlError& error) {
    ktformula::Raise(u"DOMDocument.LoadText", FromStoredUtf8(error.what()));
  }
}

XmlRemarks NotebookXmlDocument::LoadUtf8(std::string_view utf8) {
  const XmlRemarks remarks = CheckWellFormed(utf8);
  const pugi::xml_parse_result result =
      document_.load_buffer(utf8.data(), utf8.size(), kParseOptions, pugi::encoding_utf8);
  if (!result) throw XmlError(1, result.description());
  root_ = document_.document_element();
  loose_ = document_.append_child("loose");
  return remarks;
}

Ref<ktformula::XmlElement> NotebookXmlDocument::Root() {
  return root_.empty() ? nullptr : Wrap(root_);
}

Ref<ktformula::XmlElement> NotebookXmlDocument::Wrap(pugi::xml_node node) {
  return MakeRef<NotebookXmlElement>(Ref<NotebookXmlDocument>(this), node);
}

void NotebookXmlDocument::SetAttribute(pugi::xml_node node, const char* name,
                                       std::u16string_view value) {
  ktformula::CheckXmlText(value);
  pugi::xml_attribute attribute = node.attribute(name);
  if (attribute.empty()) attribute = node.append_attribute(name);
  attribute.set_value(ToStoredUtf8(value).c_str());
}

void NotebookXmlDocument::AppendText(pugi::xml_node node, std::u16string_view text) {
  ktformula::CheckXmlText(text);
  node.append_child(pugi::node_pcdata).set_value(ToStoredUtf8(text).c_str());
}

std::string NotebookXmlDocument::TextOf(pugi::xml_node node) {
  struct TextCollector final : pugi::xml_tree_walker {
    bool for_each(pugi::xml_node& below) override {
      if (below.type() == pugi::node_pcdata || below.type() == pugi::node_cdata) {
        text += below.value();
      }
      return true;
    }
    std::string text;
  };
  TextCollector collector;
  node.traverse(collector);
  return std::move(collector.text);
}

std::string SerializeXml(const pugi::xml_node& node, bool indented) {
  std::ostringstream stream;
  const unsigned layout = indented ? pugi::format_indent : pugi::format_raw;
  node.print(stream, "  ", layout | pugi::format_no_declaration, pugi::encoding_utf8);
  // Attributes are written with references already; what is left stands in character data, where
  // a reader would take a bare carriage return for the end of a line.
  std::string text;
  const std::string printed = stream.str();
  text.reserve(printed.size());
  for (const char character : printed) {
    if (character == '\r') {
      text += "&#13;";
    } else {
      text.push_back(character);
    }
  }
  return text;
}

}  // namespace ktnotebook
