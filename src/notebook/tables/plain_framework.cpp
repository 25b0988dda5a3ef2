#include "notebook/tables/plain_framework.h"

#include <array>

#include "functions/function_table.h"
#include "listener/formula_listener.h"
#include "listener/result_formats.h"
#include "values/raised_error.h"

namespace ktnotebook {

using ktformula::MakeRef;
using ktformula::Ref;

namespace {

struct ListenerClass {
  std::u16string_view program_identifier;
  Ref<ktformula::IKtFieldListener> (*create)();
};

constexpr std::array<ListenerClass, 3> kOwnClasses{{
    {ktformula::kFormulaListenerIdentifier,
     []() -> Ref<ktformula::IKtFieldListener> {
       return MakeRef<ktformula::FormulaListener>(ktformula::StandardFunctions());
     }},
    {ktformula::kDefaultFormulaFormatIdentifier,
     []() -> Ref<ktformula::IKtFieldListener> {
       return MakeRef<ktformula::DefaultFormulaFormat>();
     }},
    {ktformula::kMinDigitFormulaFormatIdentifier,
     []() -> Ref<ktformula::IKtFieldListener> {
       return MakeRef<ktformula::MinDigitFormulaFormat>();
     }},
}};

[[noreturn]] void RaiseMissing() {
  ktformula::Raise(ktformula::RuntimeError::kObjectNotSet);
}

}  // namespace

Ref<ktformula::IKtFieldListener> CreateOwnListener(std::u16string_view program_identifier) {
  for (const ListenerClass& listener_class : kOwnClasses) {
    if (listener_class.program_identifier == program_identifier) return listener_class.create();
  }
  return nullptr;
}

bool IsResultFormat(std::u16string_view program_identifier) {
  return program_identifier == ktformula::kDefaultFormulaFormatIdentifier ||
         program_identifier == ktformula::kMinDigitFormulaFormatIdentifier;
}

Ref<ktformula::XmlDocument> PlainFramework::CreateXmlDocument() {
  RaiseMissing();
}

Ref<ktformula::DatabaseHelper> PlainFramework::Database() {
  RaiseMissing();
}

Ref<ktformula::ConfigurationHelper> PlainFramework::Configuration() {
  RaiseMissing();
}

Ref<ktformula::DialogForm> PlainFramework::CreateDialogForm() {
  return nullptr;
}

}  // namespace ktnotebook
