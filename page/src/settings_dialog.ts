// Choices of the person: look, locale; the keys; texts that were put aside.
import { ApiError, type Api } from "./api";
import { show } from "./dialogs";
import { el } from "./dom";
import type { MenuItems } from "./menu";
import { applyTheme, keepLocale, localeOfBrowser, theme, themes } from "./settings";
import type { EditQueue } from "./sync/queue";

const usualLocales = ["C", "en_US", "en_GB", "de_DE", "de_CH", "fr_FR", "es_ES", "it_IT", "sv_SE", "pl_PL"];

export const editSettings = {
  themes(): MenuItems {
    return themes.map(({ value, label }) => ({ label, checked: theme() === value, run: () => applyTheme(value) }));
  },

  locales(present: string, use: (locale: string) => Promise<void>): MenuItems {
    const all = new Set(["C", present, localeOfBrowser(navigator.language), ...usualLocales]);
    return [...all].map((locale) => ({
      label: `${localeName(locale)}: ${example(locale)}`,
      checked: locale === present,
      run: () => void use(locale),
    }));
  },

  async showAside(queue: EditQueue): Promise<void> {
    const rows = queue.aside.map((aside) => el("li", {}, el("b", {}, aside.cell), ": ", el("q", {}, aside.text), ` (${aside.why})`));
    const none = "Texts that were not taken, or that gave way to somebody else's, are kept here.";
    await show("Texts put aside", rows.length > 0 ? el("ul", { class: "plain-list" }, ...rows) : el("p", {}, none));
  },
};

// A locale that the server does not know gives way to "C"; true when that may have been the reason.
export async function localeMayBeUsed(api: Api, error: unknown): Promise<boolean> {
  if (!(error instanceof ApiError) || error.status !== 400 || api.locale === "C") return false;
  api.locale = "C";
  keepLocale("C");
  return true;
}

const keys: [string, string][] = [
  ["Arrows, Home, End, Page Up, Page Down", "go through the cells; with Ctrl to the edge; with Shift they select"],
  ["Enter, Tab", "to the next cell; with Shift back"],
  ["F2, double click, or just typing", "edits the cell; Escape gives up; Alt+Enter begins a line"],
  ["Delete", "empties cells; an emptied cell with a formula is computed again"],
  ["Ctrl+C, Ctrl+X, Ctrl+V", "copy, cut and paste blocks, also from and to spreadsheets"],
  ["Ctrl+D, Ctrl+R", "fill down, fill right"],
  ["Ctrl+Z, Ctrl+Y", "undo, redo"],
  ["Ctrl+F, F3, Shift+F3", "find, next, previous"],
  ["Shift+F10", "menu of the cell, its column and row"],
  ["Arrow up from the first row, arrow left from the first column", "headers: Enter opens their menu, Shift+arrows change the width"],
  ["F6, or Escape and then Tab", "leaves the grid for the tools and panels"],
];

export async function showKeys(): Promise<void> {
  const rows = keys.map(([key, does]) => el("tr", {}, el("th", { scope: "row" }, key), el("td", {}, does)));
  await show("Keys", el("table", { class: "keys" }, el("tbody", {}, ...rows)));
}

function localeName(locale: string): string {
  if (locale === "C") return "C";
  const [language, region] = locale.split("_");
  const languages = new Intl.DisplayNames("en", { type: "language" });
  const regions = new Intl.DisplayNames("en", { type: "region" });
  return `${languages.of(language!)}${region ? `, ${regions.of(region)}` : ""}`;
}

function example(locale: string): string {
  return locale === "C" ? "12,345.6" : new Intl.NumberFormat(locale.replace("_", "-")).format(12345.6);
}
