// The faces of a field listener towards the host, members in slot order.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/database.h"
#include "host/notebook_objects.h"
#include "host/ref.h"
#include "host/xml.h"

namespace ktformula {

class HostFramework;
class HostService;
class IKtConfigurationObject;

// An object that watches one field of a form.
class IKtFieldListener : public virtual HostObject {
 public:
  // Takes the host objects, all borrowed until Terminate. `service` may be empty.
  virtual void Initialize(Ref<HostFramework> framework, Ref<OwnerCollection> owner,
                          Ref<HostService> service) = 0;
  // Inserts the listener's database row. The new key is the database's to tell.
  virtual void Create(const Field& field, DatabaseAccess& database, std::u16string_view name,
                      std::u16string_view program_identifier, std::int16_t position) = 0;
  // Asks the host to save this listener.
  virtual void RequestSave() = 0;
  // Releases the host objects and what was made at Initialize; may be called more than once.
  virtual void Terminate() = 0;
  // Shows what the user can set.
  virtual void EditProperties() = 0;
  virtual Ref<IKtConfigurationObject> ConfigurationObject() = 0;
  virtual Ref<HostObject> Object() = 0;
  // The key of the database row; 0 before there is one.
  virtual std::int32_t Key() const = 0;
  virtual void SetKey(std::int32_t key) = 0;
  // Changing the name, the program identifier or the position makes the listener unsaved.
  virtual std::u16string Name() const = 0;
  virtual void SetName(std::u16string_view name) = 0;
  virtual std::u16string ProgramIdentifier() const = 0;
  virtual void SetProgramIdentifier(std::u16string_view program_identifier) = 0;
  virtual std::int16_t Position() const = 0;
  virtual void SetPosition(std::int16_t position) = 0;
  // What else the host tells; ignored.
  virtual void Notification16(HostObject* source, HostObject* detail) = 0;
  virtual void Notification17(HostObject* source, HostObject* detail) = 0;
  virtual void Notification18(HostObject* source, HostObject* detail) = 0;
  virtual void Notification19(HostObject* source, HostObject* detail) = 0;
  virtual void Notification20(HostObject* source, HostObject* detail) = 0;
  // The watched table may have to be brought up to date.
  virtual void TableNotification(NotificationSource& source, HostObject* detail) = 0;
};

// An object that the host stores, exports and refers to.
class IKtObject : public virtual HostObject {
 public:
  virtual Ref<HostObject> Object() = 0;
  // The object and its owner in words; the flag is handed to the owner's own description.
  virtual std::u16string Description(int flag) = 0;
  // Writes the object's database row; raises what the database raises, and then changes nothing.
  virtual void Save(DatabaseAccess& database) = 0;
  // Appends the object's element to the node. Mode "export" writes no keys.
  virtual void Export(XmlNode& node, std::u16string_view mode) = 0;
  // An element that refers to this object by its key; not yet part of the tree.
  virtual Ref<XmlElement> ReferenceElement(XmlNode& node) = 0;
  // Both raise: nothing can be resolved from a listener.
  virtual void ResolveType(std::u16string_view type_name, HostObject* object) = 0;
  virtual void ResolveObject(HostObject* object, std::u16string_view type_name) = 0;
  // Always empty.
  virtual Ref<HostObject> FindObject(std::u16string_view type_name, std::u16string_view name,
                                     HostObject* object) = 0;
  // Asks the host to refresh what it shows of this object.
  virtual void Refresh() = 0;
  // Ignored.
  virtual void Attach(HostObject* object) = 0;
  // Always empty.
  virtual Ref<HostObject> Request(int request, std::u16string_view text, HostObject* object) = 0;
  // Ignored.
  virtual void Inform(int event, std::u16string_view text) = 0;
  // Raises: a listener accepts no commands.
  virtual Ref<HostObject> Execute(XmlNode& command, HostObject* object) = 0;
};

// An object whose configuration the host collects and stores.
class IKtConfigurationObject : public virtual HostObject {
 public:
  virtual Ref<IKtConfigurationObject> ConfigurationObject() = 0;
  // Hands the listener to the host's configuration helper unless it is saved already.
  virtual void Store(HostObject& target) = 0;
  // The host has taken the configuration over.
  virtual void MarkStored(HostObject* target) = 0;
};

// An object that takes its settings and its configuration from what the host has kept.
class IKtListenerData : public virtual HostObject {
 public:
  // `data_value` is a RowSet of the listeners' table or a "fieldListener" XmlElement; with the data
  // type "xml" or "initialize" an element changes only what differs from the present
  // configuration. A raised error leaves the listener as it was.
  virtual void SetData(std::u16string_view data_type, HostObject* data_value) = 0;
};

}  // namespace ktformula
