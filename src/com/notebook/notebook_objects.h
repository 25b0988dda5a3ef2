// The notebook's forms, tables and cells as COM objects.
//
// One object of the notebook's is always the same COM object as long as somebody holds that.
#pragma once

#include "KtStandard9.h"

#include "com/base/variant.h"
#include "host/notebook_objects.h"
#include "host/ref.h"

namespace ktcom {

// All give nothing for an empty reference.
ComPtr<IKtUnit> ToObject(const ktformula::Ref<ktformula::Unit>& unit);
ComPtr<IKtUnitCatalogue> ToObject(const ktformula::Ref<ktformula::UnitCatalogue>& catalogue);
ComPtr<IKtELNProperty> ToObject(const ktformula::Ref<ktformula::ELNProperty>& property);
ComPtr<IKtELNProperties> ToObject(const ktformula::Ref<ktformula::ELNProperties>& properties);
ComPtr<IKtPropertyScope> ToObject(const ktformula::Ref<ktformula::PropertyScope>& scope);
ComPtr<IKtTableCell> ToObject(const ktformula::Ref<ktformula::TableCell>& cell);
ComPtr<IKtTableProperty> ToObject(const ktformula::Ref<ktformula::TableProperty>& column);
ComPtr<IKtTableRow> ToObject(const ktformula::Ref<ktformula::TableRow>& row);
ComPtr<IKtTable> ToObject(const ktformula::Ref<ktformula::Table>& table);
ComPtr<IKtChemicalStructure> ToObject(
    const ktformula::Ref<ktformula::ChemicalStructure>& structure);
ComPtr<IKtForm> ToObject(const ktformula::Ref<ktformula::Form>& form);
// An object of any of the kinds that references lead to.
ComPtr<IDispatch> ToObject(const ktformula::Ref<ktformula::NotebookObject>& object);
ComPtr<IKtGridControl> ToObject(const ktformula::Ref<ktformula::GridControl>& grid);
ComPtr<IKtControlHolder> ToObject(const ktformula::Ref<ktformula::ControlHolder>& holder);
ComPtr<IKtField> ToObject(const ktformula::Ref<ktformula::Field>& field);
ComPtr<IKtOwnerCollection> ToObject(const ktformula::Ref<ktformula::OwnerCollection>& owner);
ComPtr<IKtNotificationSource> ToObject(const ktformula::Ref<ktformula::NotificationSource>& source);

}  // namespace ktcom
