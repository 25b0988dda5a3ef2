// What is plotted and how, kept by the browser for each table.

export interface Settings {
  // A column, or kByRow.
  x: string;
  y: string[];
  line: boolean;
  logX: boolean;
  logY: boolean;
}

/** Stands for the rows' numbers as x; no column has an empty name. */
export const kByRow = "";

const kPrefix = "kt-plot:";

/** `key`: the address of the table. */
export function stored(key: string): Partial<Settings> | null {
  try {
    const value: unknown = JSON.parse(localStorage.getItem(kPrefix + key) ?? "null");
    return typeof value === "object" ? value : null;
  } catch {
    return null;
  }
}

/** Without a place to keep them, the settings are forgotten with the page. */
export function store(key: string, settings: Settings): void {
  try {
    localStorage.setItem(kPrefix + key, JSON.stringify(settings));
  } catch {
    return;
  }
}
