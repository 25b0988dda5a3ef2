#include "com/host/user_locale.h"

#include <array>
#include <mutex>
#include <string>

#include "KtFramework9.h"

#include "com/base/host_pointer.h"
#include "values/platform.h"

namespace ktcom {

namespace {

// The first character of the system's setting; what stands there already when it has none.
void TakeSetting(LCTYPE setting, char16_t& character) {
  std::array<wchar_t, 8> text{};
  if (GetLocaleInfoW(LOCALE_USER_DEFAULT, setting, text.data(), static_cast<int>(text.size())) >
      1) {
    character = static_cast<char16_t>(text.front());
  }
}

void TakeCharacter(const std::u16string& text, char16_t& character) {
  if (!text.empty()) character = text.front();
}

}  // namespace

void UseSystemLocale() {
  static std::once_flag done;
  std::call_once(done, [] {
    ktformula::Locale locale;
    TakeSetting(LOCALE_SDECIMAL, locale.decimal_separator);
    TakeSetting(LOCALE_STHOUSAND, locale.thousands_separator);
    ktformula::SetUserLocale(locale);
  });
}

void UseLocaleOf(IDispatch* framework) {
  constexpr std::u16string_view kDecimal = u"DecimalSeparator";
  constexpr std::u16string_view kThousands = u"ThousandsSeparator";
  const HostPointer<IKtUserLocale> teller(framework);
  // An application with typed interfaces says by having this one that it tells; its names may not
  // even answer.
  if (HostPointer<IKtFramework>(framework).IsTyped() && !teller.IsTyped()) return;
  if (!teller || !teller.Has(kDecimal) || !teller.Has(kThousands)) return;
  const auto decimal = teller.Call<std::u16string, &IKtUserLocale::get_DecimalSeparator>(kDecimal);
  const auto thousands =
      teller.Call<std::u16string, &IKtUserLocale::get_ThousandsSeparator>(kThousands);
  // Applications in several threads may tell at once.
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  ktformula::Locale locale = ktformula::UserLocale();
  TakeCharacter(decimal, locale.decimal_separator);
  TakeCharacter(thousands, locale.thousands_separator);
  ktformula::SetUserLocale(locale);
}

}  // namespace ktcom
