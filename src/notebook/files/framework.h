// The notebook as the host framework of its listeners.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "host/field_listener.h"
#include "host/framework.h"
#include "listener/ikt_formula_listener.h"
#include "notebook/tables/unit_catalogue.h"

namespace ktnotebook {

class NotebookTable;

// A new listener of the class with this program identifier, empty when the class is unknown. Every
// listener is an IKtObject and an IKtListenerData too; one that computes formulas is an
// IKtFormulaListener.
using ListenerClasses =
    std::function<ktformula::Ref<ktformula::IKtFieldListener>(std::u16string_view)>;

// Creates listeners by program identifier, and gives them units, XML documents and, while a
// database is open, a place to be saved.
class NotebookFramework final : public ktformula::HostFramework {
 public:
  NotebookFramework();

  const ktformula::Ref<NotebookUnitCatalogue>& OwnUnits() const noexcept { return units_; }

  // Where listeners are stored from now on; both empty when nowhere.
  void UseDatabase(ktformula::Ref<ktformula::DatabaseAccess> access,
                   ktformula::Ref<ktformula::DatabaseHelper> helper);

  // Where dialogs come from, now that there is a place to show them.
  void UseDialogs(std::function<ktformula::Ref<ktformula::DialogForm>()> create) {
    create_dialog_ = std::move(create);
  }

  // Where all frameworks of this program take their listeners from, until it is called again; with
  // an empty function, as in the beginning, from the component within this program.
  static void UseClasses(ListenerClasses classes);
  // Whether they take them from the component within this program.
  static bool HasOwnClasses();

  // A new listener of the class. Throws NotebookError when the class is unknown.
  ktformula::Ref<ktformula::IKtFieldListener> NeedListener(std::u16string_view program_identifier);

  // A new formula listener for the table, which does not have it yet.
  ktformula::Ref<ktformula::IKtFieldListener> NewFormulaListener(NotebookTable& table);
  // Gives the table one, without formulas.
  ktformula::IKtFormulaListener& AddFormulaListener(NotebookTable& table);

  // The table's first formula listener for which `is_wanted` is true, else its first; nullptr when
  // it has none.
  static ktformula::IKtFormulaListener* FindFormulaListener(
      const NotebookTable& table,
      const std::function<bool(const ktformula::IKtFormulaListener&)>& is_wanted);
  // The same, but that a table without one gets one.
  ktformula::IKtFormulaListener& FormulaListenerOf(
      NotebookTable& table,
      const std::function<bool(const ktformula::IKtFormulaListener&)>& is_wanted);

  std::u16string TypeName() const override { return u"NotebookFramework"; }
  ktformula::Ref<ktformula::UnitCatalogue> Units() override { return units_; }
  ktformula::Ref<ktformula::IKtFieldListener> CreateListener(
      std::u16string_view program_identifier) override;
  ktformula::Ref<ktformula::XmlDocument> CreateXmlDocument() override;
  // Raises error 91 while no database is open.
  ktformula::Ref<ktformula::DatabaseHelper> Database() override;
  ktformula::Ref<ktformula::ConfigurationHelper> Configuration() override;
  // Without a database the listener stays as it is: it is written with the notebook's file.
  void RequestSave(ktformula::IKtObject& object, std::u16string_view text) override;
  // Both on the terminal's message side.
  void ShowMessage(std::u16string_view text) override;
  void ShowWarning(std::u16string_view title, std::u16string_view text) override;
  // Empty until UseDialogs.
  ktformula::Ref<ktformula::DialogForm> CreateDialogForm() override;
  std::u16string ApplicationPath() override;

 private:
  ktformula::Ref<NotebookUnitCatalogue> units_;
  ktformula::Ref<ktformula::DatabaseAccess> access_;
  ktformula::Ref<ktformula::DatabaseHelper> helper_;
  std::function<ktformula::Ref<ktformula::DialogForm>()> create_dialog_;
};

}  // namespace ktnotebook
