// What every function of ktformula9.h does around its own work: no exception leaves it, arguments
// are looked at, errors become error objects.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "notebook/c_interface/handles.h"
#include "notebook/c_interface/ktformula9.h"
#include "notebook/tables/ktformula9.hpp"

namespace ktnotebook {

// Why a call can not be done, apart from what ktformula9::Error tells.
class CallFailure : public std::runtime_error {
 public:
  CallFailure(ktf9_status status, const char* argument, const std::string& message)
      : std::runtime_error(message), status_(status), argument_(argument) {}

  ktf9_status Status() const noexcept { return status_; }
  const char* Argument() const noexcept { return argument_; }

 private:
  ktf9_status status_;
  const char* argument_;
};

// To be called in a handler: tells of the exception at hand, and gives its status. `error` may be
// nullptr, and keeps an error that it has already.
ktf9_status Report(ktf9_error** error) noexcept;

template <typename Body>
ktf9_status Call(ktf9_error** error, Body&& body) noexcept {
  try {
    body();
    return KTF9_DONE;
  } catch (...) {
    return Report(error);
  }
}

// Gives what it throws of an argument that goes by another name there.
template <typename Body>
auto Renaming(std::string_view from, const char* to, Body&& body) {
  try {
    return body();
  } catch (const ktformula9::Error& error) {
    if (error.Argument() != from) throw;
    throw ktformula9::Error(error.Reason(), to, error.what());
  }
}

// The place of a result. Throws CallFailure for nullptr.
template <typename Result>
Result& NeedPlace(Result* place, const char* argument) {
  if (place == nullptr)
    throw CallFailure(KTF9_ARGUMENT, argument, std::string(argument) + " is NULL");
  return *place;
}

// Makes a result that a failing call leaves so; `place` may be nullptr.
template <typename Handle>
void Clear(Handle** place) {
  if (place != nullptr) *place = nullptr;
}

// A struct of the caller, which says its size.
template <typename Struct>
Struct& NeedStruct(Struct* given, const char* argument) {
  if (NeedPlace(given, argument).size != sizeof(Struct)) {
    throw CallFailure(KTF9_ARGUMENT, argument,
                      "the size of " + std::string(argument) + " is not that of the struct");
  }
  return *given;
}

inline std::string_view NeedText(const char* text, const char* argument) {
  return &NeedPlace(text, argument);
}

inline std::string_view TextOr(const char* text, const char* usual) {
  return text != nullptr ? text : usual;
}

// A text for where nobody else looks whether it is UTF-8.
std::string NeedUtf8(const char* text, const char* argument);

template <typename Element>
std::span<Element> NeedArray(Element* elements, std::size_t count, const char* argument) {
  return {count > 0 ? &NeedPlace(elements, argument) : elements, count};
}

// Which of `count` there are.
void RequireIndex(std::size_t index, std::size_t count);

inline ktf9_text ViewOf(const std::string& text) {
  return {text.c_str(), text.size()};
}

}  // namespace ktnotebook
