// Files that come and go, and paper.
import { addressOf, type Column, type RowData, type TableField } from "./api";
import { el } from "./dom";
import { kindOf } from "./grid/view";
import type { Session } from "./session";
import type { App } from "./state";

// More rows than these are not printed.
const mostPrinted = 5000;

export async function openFile(app: App, session: Session): Promise<void> {
  const file = await chooseFile();
  if (!file) return;
  const imported = await app.run(async () => app.api.importFile(file, await delimiterOf(file)));
  if (!imported) return;
  const { forms, notes } = imported;
  await session.refreshForms();
  if (forms[0] !== undefined) await session.open(forms[0]);
  for (const note of notes) app.alert(note);
  app.announce(`Opened ${forms.map((form) => `"${form}"`).join(", ")}`);
}

// What stands between the names in a CSV file's first line, where that is no comma: spreadsheets
// write semicolons where the comma is the decimal separator.
async function delimiterOf(file: File): Promise<string | undefined> {
  if (!/\.(csv|tsv|txt)$/i.test(file.name)) return undefined;
  const [line = ""] = (await file.slice(0, 65_536).text()).split(/[\r\n]/);
  const bare = line.replace(/"[^"]*"/g, "");
  const times = (delimiter: string) => bare.split(delimiter).length - 1;
  const most = [",", ";", "\t"].reduce((a, b) => (times(b) > times(a) ? b : a));
  return most === "," ? undefined : most;
}

export function saveNotebook(app: App): void {
  if (app.structure) download(app.api.exportUrl(app.structure.form));
}

export function saveTable(app: App): void {
  if (!app.structure || !app.table) return;
  download(app.api.exportUrl(addressOf.table(app.structure.form, app.table.name)));
}

// The present table on paper: all its rows, not only those on the screen.
export async function print(app: App, session: Session): Promise<void> {
  const { table } = session;
  if (!table || !session.cache) return;
  const count = Math.min(session.cache.count, mostPrinted);
  if (session.cache.count > mostPrinted) app.alert(`Only the first ${mostPrinted} rows are printed; the whole table can be saved as CSV.`);
  const rows = await session.cache.read(0, count);
  const page = paper(session, table, rows);
  document.body.append(page);
  addEventListener("afterprint", () => page.remove(), { once: true });
  window.print();
}

function paper(session: Session, table: TableField, rows: RowData[]): HTMLElement {
  const heading = (name: string, unit: string | null) => el("th", { scope: "col" }, unit ? `${name} (${unit})` : name);
  const head = el("tr", {}, heading("", null), ...table.columns.map((column) => heading(column.name, column.unit)));
  const body = rows.map((row) =>
    el("tr", {}, el("th", { scope: "row" }, row.id), ...table.columns.map((column) => paperCell(row, column))));
  const formulas = table.columns
    .filter((column) => column.formula !== null)
    .map((column) => el("li", {}, `${column.name} = ${column.formula}`));
  const texts = session.texts().map((field) => el("p", {}, `${field.name}: ${field.text}`));
  return el(
    "div",
    { class: "paper" },
    el("h1", {}, session.structure!.form),
    ...texts,
    el("h2", {}, table.name),
    el("table", {}, el("thead", {}, head), el("tbody", {}, ...body)),
    formulas.length > 0 && el("ul", {}, ...formulas),
  );
}

function paperCell(row: RowData, column: Column): HTMLElement {
  const cell = row.cells[column.name] ?? { text: "", state: "" };
  const kind = kindOf(cell);
  const overridden = column.formula !== null && (kind === "typed" || kind === "noted") ? " of-formula" : "";
  const number = column.type === "number" && kind !== "error";
  return el("td", { class: `${kind}${overridden}${number ? " right" : ""}` }, cell.text);
}

function chooseFile(): Promise<File | null> {
  const input = el("input", { type: "file", accept: ".xml,.csv,.tsv,.txt,text/csv,text/xml,application/xml" });
  return new Promise((resolve) => {
    input.addEventListener("change", () => resolve(input.files?.[0] ?? null));
    input.addEventListener("cancel", () => resolve(null));
    input.click();
  });
}

function download(url: string): void {
  const link = document.createElement("a");
  link.href = url;
  link.download = "";
  document.body.append(link);
  link.click();
  link.remove();
}
