// How wide columns are: as their first rows need, or as the person made them, which this browser
// remembers.
import type { Column, RowData } from "../api";
import { errorPrefix, unitOrType } from "./header";

const narrowest = 48;
const widest = 320;
// With a little for what later rows need more.
const padding = 30;
const headerExtra = 34;
const formulaMark = 12;
const errorWidth = 150;
const storageKey = "ktnotebook.widths";

export class ColumnWidths {
  private readonly context = document.createElement("canvas").getContext("2d")!;
  private fitted = new Map<string, number>();
  private chosen: Record<string, number>;
  // "FORM/TABLE" of what is shown.
  private table = "";

  constructor(private readonly storage: Storage) {
    this.chosen = readWidths(storage);
  }

  show(table: string): void {
    this.table = table;
    this.fitted = new Map();
  }

  of(column: Column): number {
    return this.chosen[this.key(column.name)] ?? this.fitted.get(column.name) ?? 96;
  }

  // Fits what the person has not made otherwise; true when a width is another.
  fit(columns: Column[], rows: RowData[], font: string): boolean {
    this.context.font = font;
    let other = false;
    for (const column of columns) {
      const width = Math.max(this.fitted.get(column.name) ?? 0, this.needed(column, rows));
      other ||= this.fitted.get(column.name) !== width;
      this.fitted.set(column.name, width);
    }
    return other;
  }

  choose(column: string, width: number): void {
    this.chosen[this.key(column)] = Math.round(Math.min(Math.max(width, narrowest), 1000));
    this.keep();
  }

  // Back to what the texts need.
  forget(column: string): void {
    delete this.chosen[this.key(column)];
    this.keep();
  }

  textWidth(text: string): number {
    return Math.ceil(this.context.measureText(text).width);
  }

  private needed(column: Column, rows: RowData[]): number {
    const texts = rows.map((row) => row.cells[column.name]?.text ?? "");
    const cells = Math.max(0, ...texts.map((text) => this.neededBy(text)));
    const mark = column.formula === null ? 0 : formulaMark;
    const header = Math.max(this.textWidth(column.name) * 1.06 + mark, this.textWidth(unitOrType(column))) + headerExtra;
    return Math.min(Math.max(narrowest, header, cells), widest);
  }

  // Errors come and go: the table is not to jump for them.
  private neededBy(text: string): number {
    const needed = this.textWidth(text.slice(0, 80)) + padding;
    return text.startsWith(errorPrefix) ? Math.min(needed, errorWidth) : needed;
  }

  private key(column: string): string {
    return `${this.table}:${column}`;
  }

  private keep(): void {
    this.storage.setItem(storageKey, JSON.stringify(this.chosen));
  }
}

function readWidths(storage: Storage): Record<string, number> {
  try {
    return JSON.parse(storage.getItem(storageKey) ?? "{}") as Record<string, number>;
  } catch {
    return {};
  }
}
