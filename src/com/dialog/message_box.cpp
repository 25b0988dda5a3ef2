#include "com/dialog/message_box.h"

#include "com/base/text.h"
#include "com/base/windows_headers.h"

namespace ktcom {

void ShowMessage(std::u16string_view text) {
  MessageBoxW(GetActiveWindow(), ToWide(text).c_str(), L"KtFormula9", MB_OK);
}

void ShowWarning(std::u16string_view title, std::u16string_view text) {
  MessageBoxW(GetActiveWindow(), ToWide(text).c_str(), ToWide(title).c_str(),
              MB_OK | MB_ICONEXCLAMATION);
}

}  // namespace ktcom
