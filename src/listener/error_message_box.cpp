#include "listener/error_message_box.h"

#include <cstdint>
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

}  // namespace

void ShowErrorMessageBox(HostFramework& framework, std::u16string_view title,
                         const RaisedError& error, LogWriter* log) {
  if (error.Number() == kNoError || error.Number() == kDialogCancelled) return;
  const std::u16string shown_title =
      title.empty() ? u"Error in " + framework.ApplicationPath() : std::u16string(title);
  const std::u16string message = MessageOf(error);
  framework.ShowWarning(shown_title, message);
  if (log == nullptr) return;
  log->WriteLine(u"");
  log->WriteLine(u"The Following Error Message Appeared:");
  log->WriteLine(u"Title: " + shown_title);
  log->WriteLine(u"Message: " + message);
  log->WriteLine(u"Source: " + error.Source());
  log->WriteLine(u"Number: " + ToDecimalText(error.Number()));
}

}  // namespace ktformula
