// FieldListener: what every class that the host keeps as a field listener has in common.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/field_listener.h"
#include "host/framework.h"

namespace ktformula {

// The four settings, the saved flag, the database row and the element of a field listener, and
// its answers to the host. What its configuration holds and what it does is the derived class's.
//
// The host owns the object. Terminate releases the host objects; a derived class calls it in its
// destructor.
class FieldListener : public IKtFieldListener,
                      public IKtObject,
                      public IKtConfigurationObject,
                      public IKtListenerData {
 public:
  // A failure leaves the listener with what it had.
  void Initialize(Ref<HostFramework> framework, Ref<OwnerCollection> owner,
                  Ref<HostService> service) final;
  void Create(const Field& field, DatabaseAccess& database, std::u16string_view name,
              std::u16string_view program_identifier, std::int16_t position) final;
  void RequestSave() final;
  void Terminate() final;
  Ref<IKtConfigurationObject> ConfigurationObject() final;
  Ref<HostObject> Object() final;
  std::int32_t Key() const final { return key_; }
  void SetKey(std::int32_t key) final { key_ = key; }
  std::u16string Name() const final { return name_; }
  void SetName(std::u16string_view name) final;
  std::u16string ProgramIdentifier() const final { return program_identifier_; }
  void SetProgramIdentifier(std::u16string_view program_identifier) final;
  std::int16_t Position() const final { return position_; }
  void SetPosition(std::int16_t position) final;
  void Notification16(HostObject*, HostObject*) final {}
  void Notification17(HostObject*, HostObject*) final {}
  void Notification18(HostObject*, HostObject*) final {}
  void Notification19(HostObject*, HostObject*) final {}
  void Notification20(HostObject*, HostObject*) final {}

  std::u16string Description(int flag) final;
  void Save(DatabaseAccess& database) final;
  void Export(XmlNode& node, std::u16string_view mode) final;
  Ref<XmlElement> ReferenceElement(XmlNode& node) final;
  void ResolveType(std::u16string_view type_name, HostObject* object) final;
  void ResolveObject(HostObject* object, std::u16string_view type_name) final;
  Ref<HostObject> FindObject(std::u16string_view, std::u16string_view, HostObject*) final {
    return nullptr;
  }
  void Refresh() final;
  void Attach(HostObject*) final {}
  Ref<HostObject> Request(int, std::u16string_view, HostObject*) final { return nullptr; }
  void Inform(int, std::u16string_view) final {}
  Ref<HostObject> Execute(XmlNode& command, HostObject* object) final;

  void Store(HostObject& target) final;
  void MarkStored(HostObject*) final { saved_ = true; }

  void SetData(std::u16string_view data_type, HostObject* data_value) final;

  // The members whose errors get the member's name in front of their source. All classes of field
  // listeners have one name for two of them.
  static constexpr std::u16string_view kSetDataMember = u"FormulaListener.SetData";
  static constexpr std::u16string_view kSaveMember = u"FormulaListener.IKtObject_Save";
  std::u16string InitializeMember() const {
    return std::u16string(class_name_) + u".IKtFieldListener_Initialize";
  }

  // Whether the host has stored or taken over the present name, program identifier and position.
  bool IsSaved() const noexcept { return saved_; }

 protected:
  // How configuration elements name columns.
  enum class ColumnReference { kByKey, kByName };
  // Whether reading keeps entries that are the same as before, or starts from nothing.
  enum class ReadMode { kUpdate, kReplace };

  // `class_name` is the class under whose name a failing Initialize reports.
  explicit FieldListener(std::u16string_view class_name) : class_name_(class_name) {}
  ~FieldListener() override = default;

  // Initialize has stored the host objects.
  virtual void OnInitialize() {}
  // Terminate has released the host objects.
  virtual void OnTerminate() {}
  // Appends the configuration's elements to the listener's element.
  virtual void WriteConfiguration(XmlElement& /*root*/, ColumnReference /*columns*/) const {}
  // Reads them; a raised error leaves the configuration as it was.
  virtual void ReadConfiguration(XmlElement& /*root*/, ReadMode /*mode*/) {}

  // Raises error 91 before Initialize and after Terminate.
  HostFramework& Framework() const;
  OwnerCollection& Owner() const;
  const Ref<HostService>& Service() const noexcept { return host_.service; }
  // Empty before Initialize and after Terminate.
  const Ref<HostFramework>& FrameworkIfAny() const noexcept { return host_.framework; }

  // The listener in words, with its owner as long as it has one.
  std::u16string KnownDescription();
  // The listener in words, without its owner.
  std::u16string OwnDescription() const;

 private:
  struct HostObjects {
    Ref<HostFramework> framework;
    Ref<OwnerCollection> owner;
    Ref<HostService> service;
  };

  void ReadElement(XmlElement& element, ReadMode mode);
  void ReadRow(const RowSet& row);

  std::u16string_view class_name_;
  HostObjects host_;
  std::int32_t key_ = 0;
  std::u16string name_;
  std::u16string program_identifier_;
  std::int16_t position_ = 0;
  bool saved_ = false;
};

}  // namespace ktformula
