#include "listener/field_listener.h"

#include <limits>
#include <optional>
#include <utility>

#include "values/platform.h"
#include "values/raised_error.h"
#include "values/text.h"

namespace ktformula {

namespace {

constexpr std::u16string_view kElementName = u"fieldListener";

std::int16_t ToPosition(double position) {
  const std::int32_t rounded = RoundToInteger(position);
  if (rounded < std::numeric_limits<std::int16_t>::min() ||
      rounded > std::numeric_limits<std::int16_t>::max()) {
    Raise(RuntimeError::kOverflow);
  }
  return static_cast<std::int16_t>(rounded);
}

[[noreturn]] void RaiseUnresolved(std::u16string_view source, std::u16string_view type_name,
                                  std::u16string_view description) {
  Raise(source, u"the type \"" + std::u16string(type_name) + u"\" cannot be resolved from " +
                    std::u16string(description));
}

}  // namespace

void FieldListener::Initialize(Ref<HostFramework> framework, Ref<OwnerCollection> owner,
                               Ref<HostService> service) {
  WithCallPath(InitializeMember(), [&] {
    HostObjects former =
        std::exchange(host_, {std::move(framework), std::move(owner), std::move(service)});
    try {
      OnInitialize();
    } catch (const RaisedError&) {
      host_ = std::move(former);
      throw;
    }
  });
}

void FieldListener::Create(const Field& field, DatabaseAccess& database, std::u16string_view name,
                           std::u16string_view program_identifier, std::int16_t position) {
  const Ref<DatabaseHelper> helper = Framework().Database();
  const std::u16string key_column = helper->KeyColumnFragment(u"field_listener_key");
  const std::u16string next_key = helper->NextKeyExpression(u"KtS_field_listeners");
  database.Execute(u"INSERT INTO ELN_field_listeners(" + key_column +
                   u"name, prog_ID, field_key, position)VALUES(" + next_key + helper->Quote(name) +
                   u", " + helper->Quote(program_identifier) + u", " + ToDecimalText(field.Key()) +
                   u", " + ToDecimalText(position) + u")");
}

void FieldListener::RequestSave() {
  Framework().RequestSave(*this, u"Saving changes to " + OwnDescription());
}

void FieldListener::Terminate() {
  host_ = {};
  OnTerminate();
}

Ref<IKtConfigurationObject> FieldListener::ConfigurationObject() {
  return Ref<IKtConfigurationObject>(this);
}

Ref<HostObject> FieldListener::Object() {
  return Ref<HostObject>(static_cast<IKtFieldListener*>(this));
}

void FieldListener::SetName(std::u16string_view name) {
  if (name_ != name) saved_ = false;
  name_ = name;
}

void FieldListener::SetProgramIdentifier(std::u16string_view program_identifier) {
  if (program_identifier_ != program_identifier) saved_ = false;
  program_identifier_ = program_identifier;
}

void FieldListener::SetPosition(std::int16_t position) {
  if (position_ != position) saved_ = false;
  position_ = position;
}

std::u16string FieldListener::OwnDescription() const {
  return u"Field Listener \"" + name_ + u"\"";
}

std::u16string FieldListener::KnownDescription() {
  return host_.owner ? Description(0) : OwnDescription();
}

std::u16string FieldListener::Description(int flag) {
  return OwnDescription() + u" of " + Owner().Description(flag);
}

void FieldListener::Save(DatabaseAccess& database) {
  WithCallPath(kSaveMember, [&] {
    const Ref<XmlDocument> document = Framework().CreateXmlDocument();
    const Ref<XmlElement> root = document->CreateElement(kElementName);
    document->SetRoot(*root);
    WriteConfiguration(*root, ColumnReference::kByKey);
    const Ref<RowSet> row = database.OpenRow(
        u"SELECT * FROM ELN_field_listeners WHERE field_listener_key = " + ToDecimalText(key_));
    row->SetTextField(u"Name", name_);
    row->SetTextField(u"prog_id", program_identifier_);
    row->SetIntegerField(u"Position", position_);
    row->SetTextField(u"config_xml", root->Xml());
    row->Update();
  });
  saved_ = true;
}

void FieldListener::Export(XmlNode& node, std::u16string_view mode) {
  const bool without_keys = mode == u"export";
  const Ref<XmlElement> element = node.OwnerDocument()->CreateElement(kElementName);
  if (!without_keys) element->SetAttribute(u"key", ToDecimalText(key_));
  element->SetAttribute(u"progID", program_identifier_);
  element->SetAttribute(u"name", name_);
  element->SetAttribute(u"position", ToDecimalText(position_));
  WriteConfiguration(*element, without_keys ? ColumnReference::kByName : ColumnReference::kByKey);
  node.AppendChild(*element);
}

Ref<XmlElement> FieldListener::ReferenceElement(XmlNode& node) {
  Ref<XmlElement> element = node.OwnerDocument()->CreateElement(kElementName);
  element->SetAttribute(u"key", ToDecimalText(key_));
  return element;
}

void FieldListener::ResolveType(std::u16string_view type_name, HostObject*) {
  RaiseUnresolved(u"FormulaListener.IKtObject_ResolveType", type_name, KnownDescription());
}

void FieldListener::ResolveObject(HostObject*, std::u16string_view type_name) {
  RaiseUnresolved(u"FormulaListener.IKtObject_ResolveObject", type_name, KnownDescription());
}

void FieldListener::Refresh() {
  if (!host_.service) Raise(RuntimeError::kObjectNotSet);
  host_.service->RefreshObject(ToDecimalText(key_));
}

Ref<HostObject> FieldListener::Execute(XmlNode& command, HostObject*) {
  Raise(u"FormulaListener.IKtObject_Execute",
        u"the command \"" + command.NodeName() + u"\" is not recognized for this table");
}

void FieldListener::Store(HostObject& target) {
  if (!saved_) Framework().Configuration()->Store(*this, target);
}

void FieldListener::SetData(std::u16string_view data_type, HostObject* data_value) {
  WithCallPath(kSetDataMember, [&] {
    if (data_value == nullptr) Raise(RuntimeError::kObjectNotSet);
    const bool is_row = LowerCase(data_value->TypeName()) == u"recordset";
    const bool update = data_type == u"xml" || data_type == u"initialize";
    auto* const element = dynamic_cast<XmlElement*>(data_value);
    if (const auto* row = dynamic_cast<RowSet*>(data_value); row != nullptr && is_row && !update) {
      ReadRow(*row);
    } else if (element != nullptr) {
      ReadElement(*element, update ? ReadMode::kUpdate : ReadMode::kReplace);
    } else {
      Raise(RuntimeError::kTypeMismatch);
    }
  });
}

void FieldListener::ReadElement(XmlElement& element, ReadMode mode) {
  const std::optional<std::u16string> position = element.Attribute(u"position");
  const std::int16_t new_position = position ? ToPosition(TextToNumber(*position)) : position_;
  ReadConfiguration(element, mode);
  if (const auto name = element.Attribute(u"name")) SetName(*name);
  if (const auto identifier = element.Attribute(u"progID")) SetProgramIdentifier(*identifier);
  SetPosition(new_position);
}

void FieldListener::ReadRow(const RowSet& row) {
  const std::int32_t key = row.IntegerField(u"field_listener_key");
  std::u16string name = row.TextField(u"Name");
  std::u16string identifier = row.TextField(u"prog_id");
  const std::int16_t position = ToPosition(row.IntegerField(u"Position"));
  // A row that was only created holds no configuration yet.
  const std::u16string config_xml = row.TextField(u"config_xml");
  const Ref<XmlDocument> document = Framework().CreateXmlDocument();
  document->LoadText(config_xml.empty() ? u"<fieldListener/>" : config_xml);
  ReadConfiguration(*document->Root(), ReadMode::kReplace);
  key_ = key;
  name_ = std::move(name);
  program_identifier_ = std::move(identifier);
  position_ = position;
  saved_ = true;
}

HostFramework& FieldListener::Framework() const {
  if (!host_.framework) Raise(RuntimeError::kObjectNotSet);
  return *host_.framework;
}

OwnerCollection& FieldListener::Owner() const {
  if (!host_.owner) Raise(RuntimeError::kObjectNotSet);
  return *host_.owner;
}

}  // namespace ktformula
