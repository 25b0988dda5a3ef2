#include "notebook/c_interface/call.h"

#include <array>
#include <memory>
#include <new>

#include "notebook/tables/utf8.h"

namespace ktnotebook {

using ktformula9::Error;

namespace {

struct ErrorObject final : HandleObject {
  ktf9_status status = KTF9_INTERNAL;
  std::string argument;
  std::string message;
  std::optional<Error::Place> place;
};

ktf9_status StatusOf(Error::Kind kind) {
  switch (kind) {
    case Error::Kind::kArgument: return KTF9_ARGUMENT;
    case Error::Kind::kNotFound: return KTF9_NOT_FOUND;
    case Error::Kind::kGone: return KTF9_GONE;
    case Error::Kind::kRefused: return KTF9_REFUSED;
    case Error::Kind::kFormula: return KTF9_FORMULA;
  }
  return KTF9_INTERNAL;
}

void Describe(ErrorObject& error) {
  try {
    throw;
  } catch (const Error& known) {
    error.status = StatusOf(known.Reason());
    error.argument = known.Argument();
    error.message = known.what();
    error.place = known.InFormula();
  } catch (const CallFailure& failure) {
    error.status = failure.Status();
    error.argument = failure.Argument();
    error.message = failure.what();
  } catch (const std::bad_alloc&) {
    error.status = KTF9_NO_MEMORY;
    error.message = "there is not enough memory";
  } catch (const std::length_error&) {
    error.status = KTF9_NO_MEMORY;
    error.message = "there is not enough memory";
  } catch (const std::exception& fault) {
    error.message = std::string("fault of the library: ") + fault.what();
  } catch (...) {
    error.message = "fault of the library";
  }
}

std::shared_ptr<ErrorObject> FindError(const ktf9_error* error) {
  return std::dynamic_pointer_cast<ErrorObject>(HandleTable::Own().Find(IdentityOf(error)));
}

}  // namespace

ktf9_status Report(ktf9_error** error) noexcept {
  try {
    const auto told = std::make_shared<ErrorObject>();
    Describe(*told);
    if (error != nullptr && FindError(*error) == nullptr) {
      *error = nullptr;
      Give(told, *error);
    }
    return told->status;
  } catch (...) {
    return KTF9_NO_MEMORY;
  }
}

std::string NeedUtf8(const char* text, const char* argument) {
  const std::string_view given = NeedText(text, argument);
  if (!IsUtf8(given))
    throw CallFailure(KTF9_ARGUMENT, argument, std::string(argument) + " is not valid UTF-8");
  return std::string(given);
}

void RequireIndex(std::size_t index, std::size_t count) {
  if (index < count) return;
  throw CallFailure(KTF9_NOT_FOUND, "index",
                    "there is no " + std::to_string(index) + ": there are " +
                        std::to_string(count) + ", counted from 0");
}

}  // namespace ktnotebook

using ktnotebook::FindError;

ktf9_status ktf9_error_code(const ktf9_error* error) {
  const auto found = FindError(error);
  return found ? found->status : KTF9_DONE;
}

const char* ktf9_error_message(const ktf9_error* error) {
  const auto found = FindError(error);
  return found ? found->message.c_str() : "";
}

const char* ktf9_error_argument(const ktf9_error* error) {
  const auto found = FindError(error);
  return found ? found->argument.c_str() : "";
}

int ktf9_error_place(const ktf9_error* error, size_t* start, size_t* length) {
  const auto found = FindError(error);
  if (!found || !found->place) return 0;
  if (start != nullptr) *start = found->place->start;
  if (length != nullptr) *length = found->place->length;
  return 1;
}

void ktf9_error_destroy(ktf9_error* error) {
  if (FindError(error)) ktnotebook::HandleTable::Own().Take(ktnotebook::IdentityOf(error));
}
