// Raised errors: one of the two failure channels. The other, the error value, is a CellValue.
#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace ktformula {

// The number of every error that the component itself defines: object-error base + 513.
inline constexpr std::int32_t kComponentError = static_cast<std::int32_t>(0x80040201U);

// What a cell shows instead of a value: this and the error's description.
inline constexpr std::u16string_view kErrorPrefix = u"#Error: ";

// The one exception of the engine. The source names class and procedure, with the call path in
// front ("FormulaListener.SetData/CellValue.Add").
class RaisedError : public std::exception {
 public:
  RaisedError(std::int32_t number, std::u16string_view source, std::u16string_view description);

  std::int32_t Number() const noexcept { return number_; }
  const std::u16string& Source() const noexcept { return source_; }
  const std::u16string& Description() const noexcept { return description_; }
  // The description with every character beyond ASCII as "?": for debuggers, not for users.
  const char* what() const noexcept override { return ascii_.c_str(); }

 private:
  std::int32_t number_;
  std::u16string source_;
  std::u16string description_;
  std::string ascii_;
};

// Raises one of the component's own errors.
[[noreturn]] void Raise(std::u16string_view source, std::u16string_view description);

// What the component says of a text, or of what another value holds for one, that should be a
// number.
std::u16string NotANumberDescription(std::u16string_view text);

// The standard errors of the runtime.
enum class RuntimeError : std::int32_t {
  kInvalidProcedureCall = 5,
  kOverflow = 6,
  kInvalidIndex = 9,
  kDivisionByZero = 11,
  kTypeMismatch = 13,
  kObjectNotSet = 91,
  kKeyInUse = 457,
};

std::u16string_view DescriptionOf(RuntimeError error) noexcept;

// Raises a runtime error with its standard description and the component's name as the source.
[[noreturn]] void Raise(RuntimeError error);

// Runs `body`; an error that leaves it gets "<member>/" put in front of its source. An error that
// the member itself raised already names it and passes unchanged.
template <typename Body>
auto WithCallPath(std::u16string_view member, Body&& body) -> decltype(body()) {
  try {
    return body();
  } catch (const RaisedError& error) {
    if (error.Source() == member) throw;
    throw RaisedError(error.Number(), std::u16string(member) + u"/" + error.Source(),
                      error.Description());
  }
}

}  // namespace ktformula
