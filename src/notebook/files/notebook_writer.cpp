// Writing of notebook files.
#include <cmath>
#include <cstdint>
#include <set>

#include "notebook/files/listener_face.h"
#include "notebook/files/notebook_error.h"
#include "notebook/files/notebook_file.h"
#include "notebook/files/utf.h"
#include "notebook/files/xml_document.h"
#include "notebook/tables/cell_text.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktnotebook {

namespace {

// Keys of one space. Forms that come from several notebooks may have the same ones, which one
// notebook can not.
class WrittenKeys {
 public:
  // The key, or a free one in place of one that is written already.
  std::u16string TextOf(std::int32_t key) {
    while (!written_.insert(key).second)
      key = next_++;
    return ktformula::ToDecimalText(key);
  }

 private:
  std::set<std::int32_t> written_;
  std::int32_t next_ = 1;
};

class NotebookWriter {
 public:
  std::string Write(const NamedLocale& locale, const std::vector<Ref<NotebookForm>>& forms) {
    const Ref<ktformula::XmlElement> root = document_->CreateElement(u"notebook");
    document_->SetRoot(*root);
    if (locale != NamedLocale()) Attribute(document_->RootNode(), "locale", locale.name);
    for (const Ref<NotebookForm>& form : forms)
      WriteForm(*form);
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" +
           SerializeXml(document_->RootNode(), true);
  }

 private:
  // Runs one write; a text that XML can not hold is refused with the place where it stands.
  template <typename Body>
  static void At(const std::u16string& place, Body body) {
    try {
      body();
    } catch (const ktformula::RaisedError& error) {
      throw NotebookError(ToUtf8(place + u": " + error.Description()));
    }
  }

  static void Attribute(pugi::xml_node node, const char* name, std::u16string_view value) {
    NotebookXmlDocument::SetAttribute(node, name, value);
  }

  void WriteForm(const NotebookForm& form) {
    pugi::xml_node node = document_->RootNode().append_child("form");
    At(u"form \"" + form.Name() + u"\"", [&] { Attribute(node, "name", form.Name()); });
    for (const Ref<NotebookField>& field : form.Fields()) {
      if (field->OwnTable()) {
        WriteTable(node.append_child("table"), *field->OwnTable());
      } else if (field->Structure()) {
        WriteText(node.append_child("structure"), *field, field->Structure()->Data());
      } else {
        WriteText(node.append_child("field"), *field, field->TextField()->Text());
      }
    }
  }

  static void WriteText(pugi::xml_node node, const NotebookField& field, std::u16string_view text) {
    At(field.Description(), [&] {
      Attribute(node, "name", field.Name());
      NotebookXmlDocument::AppendText(node, text);
    });
  }

  void WriteTable(pugi::xml_node node, const NotebookTable& table) {
    const std::u16string place = u"table \"" + table.Name() + u"\"";
    At(place, [&] {
      Attribute(node, "name", table.Name());
      Attribute(node, "key", table_keys_.TextOf(table.FileKey()));
      for (const Ref<NotebookColumn>& column : table.Columns()) {
        WriteProperty(node.append_child("property"), column->Definition());
      }
    });
    for (const NotebookRow row : table.Rows()) {
      WriteRow(node.append_child("row"), row, place);
    }
    At(place, [&] {
      for (const Ref<ktformula::IKtFieldListener>& listener : table.Listeners()) {
        WriteListener(node, *listener);
      }
    });
  }

  void WriteProperty(pugi::xml_node node, const PropertyDefinition& definition) {
    Attribute(node, "key", property_keys_.TextOf(definition.key));
    Attribute(node, "name", definition.name);
    Attribute(node, "type", DataTypeText(definition.type));
    if (definition.unit != nullptr) Attribute(node, "unit", definition.unit->UnitText());
    if (definition.number_formatting) Attribute(node, "numberFormatting", u"true");
  }

  static void WriteRow(pugi::xml_node node, const NotebookRow& row, const std::u16string& table) {
    const std::u16string place = table + u", row \"" + row.ID() + u"\"";
    At(place, [&] {
      Attribute(node, "id", row.ID());
      for (const auto& [name, value] : row.Tags()) {
        pugi::xml_node tag = node.append_child("tag");
        Attribute(tag, "name", name);
        NotebookXmlDocument::AppendText(tag, value);
      }
    });
    for (const Ref<NotebookColumn>& column : row.Parent().Columns()) {
      const NotebookCell cell = row.CellAt(column->Index());
      if (cell.Text().empty() && cell.State().empty() && cell.Tag().empty()) continue;
      At(place + u", column \"" + column->Definition().name + u"\"",
         [&] { WriteCell(node.append_child("cell"), cell); });
    }
  }

  // A CSV file's text that is no number there may be one as a typed text, which is all that a
  // notebook file says.
  static void RequireSameNumber(const NotebookCell& cell) {
    const PropertyDefinition& definition = cell.Definition();
    if (definition.type != DataType::kNumber || !std::isnan(cell.MinNumber()) ||
        cell.State().empty()) {
      return;
    }
    const std::u16string text = cell.Text();
    const NotebookUnitCatalogue& units = cell.OwningColumn().Parent().Parent().Units();
    if (!ParseNumberText(text, definition.unit, units, cell.OwningColumn().KeptIn())) return;
    ktformula::Raise(u"NotebookWriter",
                     u"\"" + text + u"\" is no number and would be read back as one");
  }

  static void WriteCell(pugi::xml_node node, const NotebookCell& cell) {
    RequireSameNumber(cell);
    Attribute(node, "property", cell.Definition().name);
    if (!cell.State().empty()) Attribute(node, "state", cell.State());
    if (cell.Tag() != DefaultTag(cell.State())) Attribute(node, "tag", cell.Tag());
    NotebookXmlDocument::AppendText(node, cell.Text());
  }

  void WriteListener(pugi::xml_node table, ktformula::IKtFieldListener& listener) {
    FaceOf<ktformula::IKtObject>(listener).Export(*document_->Wrap(table), u"export");
    const auto* formulas = dynamic_cast<const ktformula::IKtFormulaListener*>(&listener);
    if (formulas == nullptr) return;
    const std::u16string result_format = formulas->ResultFormat();
    if (!result_format.empty()) Attribute(table.last_child(), "resultFormat", result_format);
  }

  WrittenKeys table_keys_;
  WrittenKeys property_keys_;
  Ref<NotebookXmlDocument> document_ = ktformula::MakeRef<NotebookXmlDocument>();
};

}  // namespace

std::string WriteNotebook(const Notebook& notebook) {
  return NotebookWriter().Write(notebook.locale, notebook.forms);
}

std::string WriteNotebook(const std::vector<Ref<NotebookForm>>& forms) {
  return NotebookWriter().Write(forms.empty() ? NamedLocale() : forms.front()->OwnLocale(), forms);
}

}  // namespace ktnotebook
