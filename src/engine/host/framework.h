// The host application's services.
#pragma once

#include <string>
#include <string_view>

#include "host/database.h"
#include "host/dialog.h"
#include "host/field_listener.h"
#include "host/notebook_objects.h"
#include "host/ref.h"
#include "host/xml.h"

namespace ktformula {

// Stores configurations for the host.
class ConfigurationHelper : public HostObject {
 public:
  virtual void Store(IKtConfigurationObject& object, HostObject& target) = 0;
};

// The host's view of stored objects.
class HostService : public HostObject {
 public:
  // Refreshes what is shown of the object with this key.
  virtual void RefreshObject(std::u16string_view key) = 0;
};

class HostFramework : public HostObject {
 public:
  // Never empty; shared by all who ask.
  virtual Ref<UnitCatalogue> Units() = 0;
  // A new object of the class, empty when the host knows no such class.
  virtual Ref<IKtFieldListener> CreateListener(std::u16string_view program_identifier) = 0;
  // A new document without a root, the caller's own.
  virtual Ref<XmlDocument> CreateXmlDocument() = 0;
  // Never empty; raises an error while the host has no database open.
  virtual Ref<DatabaseHelper> Database() = 0;
  // Never empty.
  virtual Ref<ConfigurationHelper> Configuration() = 0;
  // Saves the object; the text tells the user what is being saved.
  virtual void RequestSave(IKtObject& object, std::u16string_view text) = 0;
  // Shows a message with an OK button under the host's default title.
  virtual void ShowMessage(std::u16string_view text) = 0;
  // Shows a warning with an OK button.
  virtual void ShowWarning(std::u16string_view title, std::u16string_view text) = 0;
  // A new form, not loaded yet; empty when the host has no windows for it.
  virtual Ref<DialogForm> CreateDialogForm() = 0;
  // The path of the host's program.
  virtual std::u16string ApplicationPath() = 0;
};

}  // namespace ktformula
