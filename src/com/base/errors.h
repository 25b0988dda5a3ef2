// Raised errors on both sides of the boundary: exceptions here, error objects there.
#pragma once

#include <cstdint>

#include "com/base/windows_headers.h"

namespace ktcom {

// The failure code under which an error of this number crosses the boundary, and back. The
// platform's own small numbers (13 "Type mismatch") travel as 0x800A0000 + number.
HRESULT ToFailureCode(std::int32_t number) noexcept;
std::int32_t ToErrorNumber(HRESULT code) noexcept;

// To be called before a call that may leave an error object: what someone left behind earlier is
// not this call's.
inline void ForgetErrorObject() noexcept {
  SetErrorInfo(0, nullptr);
}

// Raises the error that a call of this object's interface failed with: number, source and
// description of its error object where it left one, else what the code says.
[[noreturn]] void RaiseFailure(HRESULT code, IUnknown* object, REFIID interface_id);

inline void Check(HRESULT code, IUnknown* object, REFIID interface_id) {
  if (FAILED(code)) RaiseFailure(code, object, interface_id);
}
// The same for functions of the system, which leave no error object.
void Check(HRESULT code);

// Raises the error that an automation call reported.
[[noreturn]] void RaiseException(EXCEPINFO& information);

// Turns the exception being handled into this thread's error object and a failure code.
HRESULT ReportCurrentException(REFIID interface_id) noexcept;

// Runs the body of what others call and answers its code. No exception leaves it.
template <typename Body>
HRESULT Guarded(REFIID interface_id, Body&& body) noexcept {
  try {
    return body();
  } catch (...) {
    return ReportCurrentException(interface_id);
  }
}

// The same for a member of an object, whose body answers nothing. The object outlives the call,
// even when the body lets the last of its owners go.
template <typename Body>
HRESULT Answer(IUnknown* self, REFIID interface_id, Body&& body) noexcept {
  self->AddRef();
  const HRESULT code = Guarded(interface_id, [&] {
    body();
    return S_OK;
  });
  self->Release();
  return code;
}

}  // namespace ktcom
