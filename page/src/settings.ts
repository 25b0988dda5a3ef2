// What this browser remembers for its person: the look and the locale.
const themeKey = "ktnotebook.theme";
const localeKey = "ktnotebook.locale";

export type Theme = "system" | "light" | "dark";

export const themes: { value: Theme; label: string }[] = [
  { value: "system", label: "As the system" },
  { value: "light", label: "Light" },
  { value: "dark", label: "Dark" },
];

export const theme = (): Theme => (localStorage.getItem(themeKey) as Theme | null) ?? "system";

export function applyTheme(next: Theme): void {
  localStorage.setItem(themeKey, next);
  if (next === "system") delete document.documentElement.dataset.theme;
  else document.documentElement.dataset.theme = next;
}

// "de-DE" is "de_DE"; a language alone gets its most likely region, a script is left out.
export function localeOfBrowser(language: string): string {
  const locale = new Intl.Locale(language).maximize();
  return locale.region ? `${locale.language}_${locale.region}` : "C";
}

// "C", or a name such as "de_DE".
export function personsLocale(): string {
  const kept = localStorage.getItem(localeKey);
  if (kept) return kept;
  try {
    return localeOfBrowser(navigator.language);
  } catch {
    return "C";
  }
}

export function keepLocale(name: string): void {
  localStorage.setItem(localeKey, name);
}
