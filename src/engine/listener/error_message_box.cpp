#include "listener/error_message_box.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>

#include "values/text.h"

namespace ktformula {

namespace {

constexpr std::int32_t kNoError = 0;
constexpr std::int32_t kDialogCancelled = 32755;

std::u16string MessageOf(const RaisedError& error) {
  const std::u16string message = u"Sorry, " + error.Description();
  return error.Description().ends_with(u'.') ? message : message + u".";
}

std::u16string PathOf(HostFramework* framework) {
  return framework != nullptr ? framework->ApplicationPath() : std::u16string();
}

// Of characters beyond ASCII only their place is kept.
void PrintWarning(std::u16string_view title, std::u16string_view text) {
  std::string line;
  for (const char16_t unit : std::u16string(title) + u": " + std::u16string(text))
    line.push_back(unit < 0x80 ? static_cast<char>(unit) : '?');
  std::fprintf(stderr, "%s\n", line.c_str());
}

std::atomic<WarningBox> warning_box = &PrintWarning;

void ShowWarning(HostFramework* framework, std::u16string_view title, std::u16string_view text) {
  if (framework != nullptr) {
    framework->ShowWarning(title, text);
  } else {
    warning_box.load()(title, text);
  }
}

}  // namespace

void UseWarningBox(WarningBox box) noexcept {
  warning_box = box;
}

void ShowErrorMessageBox(HostFramework* framework, std::u16string_view title,
                         const RaisedError& error, LogWriter* log) {
  if (error.Number() == kNoError || error.Number() == kDialogCancelled) return;
  const std::u16string shown_title =
      title.empty() ? u"Error in " + PathOf(framework) : std::u16string(title);
  const std::u16string message = MessageOf(error);
  ShowWarning(framework, shown_title, message);
  if (log == nullptr) return;
  log->WriteLine(u"");
  log->WriteLine(u"The Following Error Message Appeared:");
  log->WriteLine(u"Title: " + shown_title);
  log->WriteLine(u"Message: " + message);
  log->WriteLine(u"Source: " + error.Source());
  log->WriteLine(u"Number: " + ToDecimalText(error.Number()));
}

}  // namespace ktformula
