// Reading of notebook files.
#include <algorithm>
#include <array>
#include <charconv>
#include <set>
#include <span>

#include "notebook/files/file.h"
#include "notebook/files/listener_face.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "notebook/files/xml_document.h"
#include "notebook/files/xml_encoding.h"
#include "values/raised_error.h"

namespace ktnotebook {

namespace {

using Names = std::span<const std::string_view>;

// What an element may hold. Elements without children hold text, the others only blanks beside
// their children.
struct ElementRule {
  std::string_view name;
  std::array<std::string_view, 5> attributes;
  std::array<std::string_view, 3> children;
  bool holds_text;
};

constexpr std::array<ElementRule, 12> kRules{{
    {"notebook", {"locale"}, {"form"}, false},
    {"form", {"name"}, {"table", "structure", "field"}, false},
    {"table", {"name", "key"}, {"property", "row", "fieldListener"}, false},
    {"property", {"key", "name", "type", "unit", "numberFormatting"}, {}, false},
    {"row", {"id"}, {"tag", "cell"}, false},
    {"tag", {"name"}, {}, true},
    {"cell", {"property", "state", "tag"}, {}, true},
    {"fieldListener",
     {"key", "progID", "name", "position", "resultFormat"},
     {"propertyFormula", "definition"},
     false},
    {"propertyFormula", {"format", "key", "name"}, {}, true},
    {"definition", {"name"}, {}, true},
    {"structure", {"name"}, {}, true},
    {"field", {"name"}, {}, true},
}};

bool Contains(Names names, std::string_view name) {
  return !name.empty() && std::find(names.begin(), names.end(), name) != names.end();
}

// "1 comment", "2 comments"; "" for none.
std::string Counted(std::size_t count, const std::string& noun) {
  if (count == 0) return "";
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string RemarksText(const XmlRemarks& remarks) {
  const std::string comments = Counted(remarks.comments, "comment");
  const std::string instructions = Counted(remarks.instructions, "processing instruction");
  return comments + (comments.empty() || instructions.empty() ? "" : " and ") + instructions;
}

class NotebookReader {
 public:
  explicit NotebookReader(const std::string& name) : name_(name) {}

  Notebook Read(std::string_view bytes) {
    try {
      utf8_ = XmlToUtf8(bytes);
      notebook_.dropped = RemarksText(document_->LoadUtf8(utf8_));
    } catch (const XmlError& error) {
      RefuseLine(error.Line(), error.what());
    }
    const pugi::xml_node root = document_->RootNode();
    if (std::string_view(root.name()) != "notebook") {
      Refuse(root, "the root element is <" + std::string(root.name()) + ">, not <notebook>");
    }
    Check(root);
    notebook_.locale = ReadLocale(root);
    const ktformula::LocaleScope kept_in(notebook_.locale.separators);
    for (const pugi::xml_node form : root.children("form"))
      ReadForm(form);
    return std::move(notebook_);
  }

 private:
  [[noreturn]] void RefuseLine(std::uint64_t line, const std::string& reason) const {
    throw NotebookError(name_ + ":" + std::to_string(line) + ": " + reason);
  }

  [[noreturn]] void Refuse(const pugi::xml_node& node, const std::string& reason) const {
    RefuseLine(LineOf(node, utf8_), reason);
  }

  static std::string Quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }
  static std::string Tag(const pugi::xml_node& node) {
    return "<" + std::string(node.name()) + ">";
  }

  // Checks the element and all below it against the rules.
  void Check(const pugi::xml_node& node) const {
    const auto* const rule = std::find_if(kRules.begin(), kRules.end(),
                                          [&](const auto& row) { return row.name == node.name(); });
    for (const pugi::xml_attribute attribute : node.attributes()) {
      if (!Contains(rule->attributes, attribute.name())) {
        Refuse(node, Tag(node) + " has no attribute " + Quoted(attribute.name()));
      }
    }
    for (const pugi::xml_node child : node.children()) {
      if (child.type() == pugi::node_element) {
        if (!Contains(rule->children, child.name())) {
          Refuse(child, Tag(child) + " is not allowed in " + Tag(node));
        }
        Check(child);
      } else if (!rule->holds_text && !IsBlank(child.value())) {
        Refuse(node, Tag(node) + " holds no text of its own");
      }
    }
  }

  static bool IsBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
  }

  std::u16string Optional(const pugi::xml_node& node, const char* name) const {
    return FromStoredUtf8(node.attribute(name).value());
  }

  std::u16string Required(const pugi::xml_node& node, const char* name) const {
    std::u16string value = Optional(node, name);
    if (value.empty()) Refuse(node, Tag(node) + " needs the attribute " + Quoted(name));
    return value;
  }

  std::int32_t RequiredKey(const pugi::xml_node& node, std::set<std::int32_t>& used) const {
    const std::string text = ToUtf8(Required(node, "key"));
    std::int32_t key = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), key);
    if (error != std::errc() || end != text.data() + text.size() || key < 1) {
      Refuse(node, "the key " + Quoted(text) + " is not a whole number from 1 to 2147483647");
    }
    if (!used.insert(key).second) Refuse(node, "the key " + text + " is used twice");
    return key;
  }

  static std::u16string Text(const pugi::xml_node& node) {
    return FromStoredUtf8(NotebookXmlDocument::TextOf(node));
  }

  [[noreturn]] void RefuseRepeated(const pugi::xml_node& node, std::string_view what,
                                   std::u16string_view name) const {
    Refuse(node, "the " + std::string(what) + " " + Quoted(ToUtf8(name)) + " is used twice");
  }

  NamedLocale ReadLocale(const pugi::xml_node& root) const {
    if (root.attribute("locale").empty()) return {};
    const std::u16string name = Optional(root, "locale");
    std::optional<NamedLocale> locale = FindNamedLocale(name);
    if (!locale) Refuse(root, "the locale " + Quoted(ToUtf8(name)) + " is not known");
    return *std::move(locale);
  }

  void ReadForm(const pugi::xml_node& node) {
    const std::u16string name = Required(node, "name");
    if (!form_names_.insert(name).second) RefuseRepeated(node, "form name", name);
    NotebookForm& form = notebook_.AddForm(name);
    for (const pugi::xml_node child : node.children()) {
      const std::string_view kind = child.name();
      if (kind == "table") ReadTable(child, form);
      if (kind == "structure") ReadField(child, form, &NotebookForm::AddStructure);
      if (kind == "field") ReadField(child, form, &NotebookForm::AddTextField);
    }
  }

  void ReadField(const pugi::xml_node& node, NotebookForm& form,
                 NotebookField* (NotebookForm::*add)(std::u16string_view, std::u16string_view)) {
    const std::u16string name = Required(node, "name");
    if ((form.*add)(name, Text(node)) == nullptr) RefuseRepeated(node, "field name", name);
  }

  void ReadTable(const pugi::xml_node& node, NotebookForm& form) {
    const std::u16string name = Required(node, "name");
    NotebookTable* const table = form.AddTable(name, RequiredKey(node, table_keys_));
    if (table == nullptr) RefuseRepeated(node, "field name", name);
    for (const pugi::xml_node child : node.children("property"))
      ReadProperty(child, *table);
    for (const pugi::xml_node child : node.children("row"))
      ReadRow(child, *table);
    for (const pugi::xml_node child : node.children("fieldListener")) {
      ReadListener(child, *table);
    }
    RestoreComputedNumbers(*table);
  }

  void ReadProperty(const pugi::xml_node& node, NotebookTable& table) {
    PropertyDefinition definition;
    definition.key = RequiredKey(node, property_keys_);
    definition.name = Required(node, "name");
    const std::u16string type = Required(node, "type");
    const std::optional<DataType> known_type = FindDataType(type);
    if (!known_type) Refuse(node, "the type " + Quoted(ToUtf8(type)) + " is not known");
    definition.type = *known_type;
    definition.unit = ReadUnit(node, *known_type);
    const std::string_view formatting = node.attribute("numberFormatting").as_string("false");
    if (formatting != "true" && formatting != "false") {
      Refuse(node, "numberFormatting is neither \"true\" nor \"false\"");
    }
    definition.number_formatting = formatting == "true";
    const std::u16string name = definition.name;
    if (table.AddColumn(std::move(definition)) == nullptr) {
      RefuseRepeated(node, "property name", name);
    }
  }

  const NotebookUnit* ReadUnit(const pugi::xml_node& node, DataType type) const {
    const std::u16string name = Optional(node, "unit");
    if (name.empty()) return nullptr;
    if (type != DataType::kNumber) Refuse(node, "only a property of type \"number\" has a unit");
    const NotebookUnit* unit = notebook_.framework->OwnUnits()->FindUnit(name);
    if (unit == nullptr) Refuse(node, "the unit " + Quoted(ToUtf8(name)) + " is not known");
    return unit;
  }

  void ReadRow(const pugi::xml_node& node, NotebookTable& table) {
    const std::u16string id = Required(node, "id");
    const std::optional<NotebookRow> row = table.AddRow(id);
    if (!row) RefuseRepeated(node, "row id", id);
    for (const pugi::xml_node child : node.children("tag")) {
      const std::u16string name = Required(child, "name");
      if (!row->AddTag(name, Text(child))) RefuseRepeated(child, "tag name", name);
    }
    std::set<const NotebookColumn*> seen;
    for (const pugi::xml_node child : node.children("cell"))
      ReadCell(child, *row, seen);
  }

  void ReadCell(const pugi::xml_node& node, const NotebookRow& row,
                std::set<const NotebookColumn*>& seen) const {
    const std::u16string name = Required(node, "property");
    const NotebookColumn* const column = row.Parent().FindColumn(name);
    if (column == nullptr) {
      Refuse(node, "the table has no property " + Quoted(ToUtf8(name)));
    }
    if (!seen.insert(column).second) RefuseRepeated(node, "cell", name);
    const NotebookCell cell = row.CellAt(column->Index());
    cell.TakeTypedText(Text(node));
    const std::u16string state = Optional(node, "state");
    const pugi::xml_attribute tag = node.attribute("tag");
    cell.SetState(state, tag.empty() ? std::u16string(DefaultTag(state)) : Optional(node, "tag"));
  }

  void ReadListener(const pugi::xml_node& node, NotebookTable& table) {
    const std::u16string identifier = Required(node, "progID");
    Ref<ktformula::IKtFieldListener> listener = notebook_.framework->CreateListener(identifier);
    if (!listener) {
      Refuse(node, "the program identifier " + Quoted(ToUtf8(identifier)) + " is not known");
    }
    CheckConfiguration(node, table);
    listener->Initialize(notebook_.framework, table.Parent().OwnerOf(table.OwnField()), nullptr);
    try {
      FaceOf<ktformula::IKtListenerData>(*listener).SetData(u"xml", document_->Wrap(node).get());
    } catch (const ktformula::RaisedError& error) {
      listener->Terminate();
      Refuse(node, ToUtf8(error.Description()));
    }
    if (auto* formulas = dynamic_cast<ktformula::IKtFormulaListener*>(listener.get())) {
      formulas->SetResultFormat(Optional(node, "resultFormat"));
    } else {
      RefuseFormulas(node);
    }
    table.AddListener(std::move(listener));
  }

  // Only a formula listener keeps formulas; from any other they would be lost.
  void RefuseFormulas(const pugi::xml_node& node) const {
    const pugi::xml_node formula = node.find_child(
        [](const pugi::xml_node& child) { return child.type() == pugi::node_element; });
    if (!formula.empty() || !node.attribute("resultFormat").empty()) {
      Refuse(formula.empty() ? node : formula,
             "a listener " + Quoted(node.attribute("progID").value()) + " takes no formulas");
    }
  }

  // Refuses what a listener would take but the notebook could not write again.
  void CheckConfiguration(const pugi::xml_node& node, const NotebookTable& table) const {
    std::set<std::u16string> columns;
    for (const pugi::xml_node child : node.children("propertyFormula")) {
      std::u16string name = Optional(child, "name");
      if (!child.attribute("key").empty()) name = NameOfKey(child, table);
      if (!columns.insert(name).second) RefuseRepeated(child, "formula's property", name);
    }
    std::set<std::u16string> definitions;
    for (const pugi::xml_node child : node.children("definition")) {
      const std::u16string name = Required(child, "name");
      if (!definitions.insert(name).second) RefuseRepeated(child, "definition name", name);
    }
  }

  std::u16string NameOfKey(const pugi::xml_node& node, const NotebookTable& table) const {
    const std::string_view key = node.attribute("key").value();
    for (const Ref<NotebookColumn>& column : table.Columns()) {
      if (std::to_string(column->Definition().key) == key) return column->Definition().name;
    }
    Refuse(node, "the table has no property with the key " + Quoted(key));
  }

  // A computed cell of an unformatted column shows its number in base units, not in the unit that
  // a typed text would be meant in.
  static void RestoreComputedNumbers(const NotebookTable& table) {
    for (const Ref<NotebookColumn>& column : table.Columns()) {
      if (column->Definition().number_formatting || !table.HasFormula(*column)) continue;
      for (const NotebookRow row : table.Rows()) {
        const NotebookCell cell = row.CellAt(column->Index());
        if (cell.State().empty()) cell.TakeWrittenText(cell.Text(), true);
      }
    }
  }

  std::string utf8_;
  const std::string& name_;
  Ref<NotebookXmlDocument> document_ = ktformula::MakeRef<NotebookXmlDocument>();
  Notebook notebook_;
  std::set<std::u16string> form_names_;
  std::set<std::int32_t> table_keys_;
  std::set<std::int32_t> property_keys_;
};

}  // namespace

std::u16string_view DefaultTag(std::u16string_view state) noexcept {
  return state == u"entered" || state == u"noted" ? u"entered" : u"";
}

NotebookForm& Notebook::AddForm(std::u16string_view name) {
  forms.push_back(ktformula::MakeRef<NotebookForm>(name, framework->OwnUnits()));
  forms.back()->SetLocale(locale);
  return *forms.back();
}

Notebook ReadNotebook(std::string_view bytes, const std::string& name) {
  return NotebookReader(name).Read(bytes);
}

Notebook ReadNotebookFile(const std::string& path) {
  return ReadNotebook(ReadWholeFile(path), path);
}

}  // namespace ktnotebook
