#include "com/base/errors.h"

#include <array>
#include <new>
#include <optional>
#include <string>

#include "com/base/text.h"
#include "com/base/windows_headers.h"
#include "values/raised_error.h"

namespace ktcom {

using ktformula::RaisedError;
using ktformula::RuntimeError;
using Microsoft::WRL::ComPtr;

namespace {

// Where the platform's own errors begin among the failure codes.
constexpr std::uint32_t kControlErrors = 0x800A0000U;

struct AutomationError {
  HRESULT code;
  RuntimeError error;
};
// What automation itself calls by other codes.
constexpr std::array<AutomationError, 5> kAutomationErrors{{
    {DISP_E_TYPEMISMATCH, RuntimeError::kTypeMismatch},
    {DISP_E_OVERFLOW, RuntimeError::kOverflow},
    {DISP_E_BADINDEX, RuntimeError::kInvalidIndex},
    {DISP_E_DIVBYZERO, RuntimeError::kDivisionByZero},
    {E_INVALIDARG, RuntimeError::kInvalidProcedureCall},
}};

std::optional<RuntimeError> FindRuntimeError(std::int32_t number) noexcept {
  for (const RuntimeError error :
       {RuntimeError::kInvalidProcedureCall, RuntimeError::kOverflow, RuntimeError::kInvalidIndex,
        RuntimeError::kDivisionByZero, RuntimeError::kTypeMismatch, RuntimeError::kObjectNotSet}) {
    if (static_cast<std::int32_t>(error) == number) return error;
  }
  return std::nullopt;
}

std::u16string SystemMessage(HRESULT code) {
  std::array<wchar_t, 512> buffer{};
  const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                      nullptr, static_cast<DWORD>(code), 0, buffer.data(),
                                      static_cast<DWORD>(buffer.size()), nullptr);
  std::u16string_view message(Narrow(buffer.data()), length);
  while (!message.empty() && (message.back() <= u' ' || message.back() == u'.')) {
    message.remove_suffix(1);
  }
  return std::u16string(message.empty() ? u"Automation error" : message);
}

std::u16string DescriptionOf(HRESULT code) {
  const auto error = FindRuntimeError(ToErrorNumber(code));
  return error ? std::u16string(ktformula::DescriptionOf(*error)) : SystemMessage(code);
}

[[noreturn]] void RaiseWithoutObject(HRESULT code) {
  throw RaisedError(ToErrorNumber(code), u"KtFormula9", DescriptionOf(code));
}

[[noreturn]] void RaiseDescribed(HRESULT code, std::u16string_view source,
                                 std::u16string_view description) {
  throw RaisedError(ToErrorNumber(code), source.empty() ? u"KtFormula9" : source,
                    description.empty() ? DescriptionOf(code) : std::u16string(description));
}

// The error object of the call that has just failed, empty when the object makes none.
ComPtr<IErrorInfo> TakeErrorObject(IUnknown* object, REFIID interface_id) {
  ComPtr<ISupportErrorInfo> support;
  ComPtr<IErrorInfo> information;
  if (FAILED(object->QueryInterface(IID_PPV_ARGS(support.GetAddressOf()))) ||
      support->InterfaceSupportsErrorInfo(interface_id) != S_OK) {
    return nullptr;
  }
  GetErrorInfo(0, information.GetAddressOf());
  return information;
}

HRESULT Report(REFIID interface_id, const RaisedError& error) {
  ComPtr<ICreateErrorInfo> creation;
  ComPtr<IErrorInfo> information;
  if (SUCCEEDED(CreateErrorInfo(creation.GetAddressOf())) && SUCCEEDED(creation.As(&information))) {
    creation->SetGUID(interface_id);
    creation->SetSource(Bstr(error.Source()));
    creation->SetDescription(Bstr(error.Description()));
    SetErrorInfo(0, information.Get());
  }
  return ToFailureCode(error.Number());
}

}  // namespace

HRESULT ToFailureCode(std::int32_t number) noexcept {
  if (number < 0) return number;
  // There is no room for others.
  if (number == 0 || number > 0xFFFF) return E_FAIL;
  return static_cast<HRESULT>(kControlErrors | (static_cast<std::uint32_t>(number) & 0xFFFFU));
}

std::int32_t ToErrorNumber(HRESULT code) noexcept {
  const auto bits = static_cast<std::uint32_t>(code);
  if ((bits & 0xFFFF0000U) == kControlErrors) return static_cast<std::int32_t>(bits & 0xFFFFU);
  for (const AutomationError& known : kAutomationErrors) {
    if (known.code == code) return static_cast<std::int32_t>(known.error);
  }
  return code;
}

void RaiseFailure(HRESULT code, IUnknown* object, REFIID interface_id) {
  const ComPtr<IErrorInfo> information = TakeErrorObject(object, interface_id);
  if (information == nullptr) RaiseWithoutObject(code);
  Bstr source;
  Bstr description;
  information->GetSource(source.Receive());
  information->GetDescription(description.Receive());
  RaiseDescribed(code, View(source), View(description));
}

void Check(HRESULT code) {
  if (FAILED(code)) RaiseWithoutObject(code);
}

void RaiseException(EXCEPINFO& information) {
  if (information.pfnDeferredFillIn != nullptr) information.pfnDeferredFillIn(&information);
  Bstr source;
  Bstr description;
  *source.Receive() = information.bstrSource;
  *description.Receive() = information.bstrDescription;
  SysFreeString(information.bstrHelpFile);
  // An object may tell a small number instead of a failure code.
  const HRESULT code =
      information.wCode != 0 ? ToFailureCode(information.wCode) : information.scode;
  RaiseDescribed(code, View(source), View(description));
}

HRESULT ReportCurrentException(REFIID interface_id) noexcept {
  try {
    try {
      throw;
    } catch (const RaisedError& error) {
      return Report(interface_id, error);
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    } catch (const std::exception& error) {
      const std::string_view reason(error.what());
      return Report(interface_id, RaisedError(E_UNEXPECTED, u"KtFormula9",
                                              std::u16string(reason.begin(), reason.end())));
    }
  } catch (...) {
    return E_UNEXPECTED;
  }
}

}  // namespace ktcom
