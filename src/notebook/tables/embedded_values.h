// Values and functions between the engine and ktformula9.hpp.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "formula/formula_function.h"
#include "notebook/tables/ktformula9.hpp"
#include "values/cell_value.h"
#include "values/raised_error.h"

namespace ktnotebook {

// The text in UTF-16; throws ktformula9::Error, which names the argument, when it is no UTF-8.
std::u16string TextOfArgument(std::string_view text, std::string_view argument);

[[noreturn]] void Refuse(ktformula9::Error::Kind kind, std::string_view argument,
                         std::u16string_view message);

ktformula9::Value ToValue(const ktformula::CellValue& value);
ktformula9::Value ToValue(const ktformula::RaisedError& error);

// The function as a listener calls it.
std::shared_ptr<ktformula::IKtFormulaFunction> MakeFunction(
    std::shared_ptr<const ktformula9::Function> function);

}  // namespace ktnotebook
