// The notebook as this page knows it: the present form and table, rows that are looked at, edits on
// their way, and what others do meanwhile.
import { addressOf, Api, ApiError, type CellState, type Change, type ChangeAnswer, type Column, type RowData, type Structure, type TableField, type TextField, type Texts } from "./api";
import { RowCache } from "./grid/rows";
import { Emitter, type AppEvent, type Selection } from "./state";
import { Events, type Changed, type Hello, type Notice } from "./sync/events";
import { EditQueue, type CellPlace, type Conflict, type Edit } from "./sync/queue";

// rows: what the grid shows is another. forms: the list of forms. edits: the queue's state or
// conflicts. history: what undo and redo would do.
export type SessionEvent = AppEvent | "rows" | "forms" | "edits" | "history";

export interface ShownCell {
  text: string;
  state: CellState;
  // On its way to the server.
  unsent: boolean;
  // Computed, while edits are on their way.
  stale: boolean;
  conflict: Conflict | undefined;
}

export interface SessionHandlers {
  announce(text: string): void;
  alert(text: string): void;
  // A text that the server does not take, for the person to change.
  refused(edit: Edit, error: ApiError): void;
  conflict(conflict: Conflict): void;
}

export class Session extends Emitter<SessionEvent> {
  readonly api = new Api();
  readonly queue: EditQueue;
  forms: string[] = [];
  structure: Structure | null = null;
  table: TableField | null = null;
  selection: Selection | null = null;
  cache: RowCache | null = null;
  // No event has come since the connection broke.
  connected = false;
  private readonly events: Events;
  private versions: Record<string, number> = {};
  private server = "";
  private refreshing: ReturnType<typeof setTimeout> | undefined;
  private catchingUp: ReturnType<typeof setTimeout> | undefined;

  constructor(private readonly handlers: SessionHandlers, storage: Storage) {
    super();
    this.queue = new EditQueue({
      send: (edit) => this.send(edit),
      locate: (edit) => this.locate(edit),
      ids: (edit, change) => this.idsOf(edit, change),
      answered: (edit, change) => {
        this.countAppended(edit);
        this.applied(change, edit.form);
      },
      refused: (edit, error) => this.handlers.refused(edit, error),
      conflict: (conflict) => this.handlers.conflict(conflict),
      changed: () => this.repaint("edits"),
    }, storage);
    this.events = new Events({
      hello: (event) => void this.hello(event).catch((error) => this.catchUp(error)),
      changed: (event) => void this.changed(event).catch((error) => this.catchUp(error)),
      notice: (event) => this.notice(event),
      lost: () => this.lost(),
    });
  }

  start(): void {
    this.queue.restore();
    this.events.connect();
  }

  // Shows a form, and one of its tables (else its first).
  async open(form: string, table?: string): Promise<void> {
    const structure = await this.api.structure(form);
    this.take(structure);
    this.show(table ?? (this.table?.name || undefined), true);
  }

  // Shows a table of the present form; the first where there is none of that name.
  show(name: string | undefined, anew = false): void {
    const tables = this.tables();
    const table = tables.find((each) => each.name === name) ?? tables[0] ?? null;
    if (!anew && table?.name === this.table?.name && this.cache) return;
    this.table = table;
    this.selection = null;
    this.cache?.end();
    this.cache = table && this.newCache(table);
    this.emit("structure");
    this.emit("selection");
  }

  tables(): TableField[] {
    return (this.structure?.fields ?? []).filter((field): field is TableField => field.kind === "table");
  }

  texts(): TextField[] {
    return (this.structure?.fields ?? []).filter((field): field is TextField => field.kind !== "table");
  }

  select(row: number, column: number): void {
    const id = this.rowId(row);
    const name = this.table?.columns[column]?.name;
    const next = id !== undefined && name !== undefined ? this.selectionOf(id, row, name) : null;
    if (JSON.stringify(next) === JSON.stringify(this.selection)) return;
    this.selection = next;
    this.emit("selection");
  }

  // Rows of the table with those on their way, without the empty one below.
  rowCount(): number {
    if (!this.structure || !this.table || !this.cache) return 0;
    return this.queue.rowsOf(this.structure.form, this.table.name, this.cache.count);
  }

  rowId(index: number): string | undefined {
    return this.cache?.row(index)?.id;
  }

  // undefined while the row has not come yet.
  cell(index: number, column: Column): ShownCell | undefined {
    const row = this.cache?.row(index);
    if (!row && index < (this.cache?.count ?? 0)) return undefined;
    const place = this.place(row?.id ?? index, column.name);
    const typed = this.queue.textOf(place, index);
    const cell = row?.cells[column.name] ?? { text: "", state: "" as const };
    if (typed !== undefined) return { ...shownTyped(typed, column), conflict: undefined };
    const stale = this.queue.unsent > 0 && column.formula !== null && cell.state === "";
    return { text: cell.text, state: cell.state, unsent: false, stale, conflict: this.queue.conflictAt(place) };
  }

  address(index: number, column: string): string | null {
    const id = this.rowId(index);
    if (id === undefined || !this.structure || !this.table) return null;
    return addressOf.cell(this.structure.form, this.table.name, column, id);
  }

  tableAddress(): string {
    return addressOf.table(this.structure?.form ?? "", this.table?.name ?? "");
  }

  // Texts for the cells from one on; `was` is what the person saw there, `ids` the rows' ids where
  // other rows may stand there by now.
  type(row: number, column: number, texts: Texts, was: Texts, ids?: (string | null)[]): void {
    if (!this.structure || !this.table) return;
    const width = texts[0]?.length ?? 0;
    this.queue.add({
      form: this.structure.form,
      table: this.table.name,
      columns: this.table.columns.slice(column, column + width).map((each) => each.name),
      index: row,
      rows: ids ?? texts.map((_, i) => this.rowId(row + i) ?? null),
      texts,
      was,
      placed: true,
    });
  }

  // Undoes or does again: what has not been sent yet first.
  async history(which: "undo" | "redo"): Promise<string | null> {
    if (which === "undo" && this.queue.state !== "sending") {
      const edit = this.queue.takeBack();
      if (edit) return "what was typed, before it was sent";
    }
    if (!(await this.queue.drained())) throw new ApiError(0, "the server does not answer: edits are waiting");
    await this.refreshStructure();
    const structure = this.structure;
    const step = structure?.[which];
    if (!structure || !step) return null;
    this.applied(await this.api[which](structure.form, step.step), structure.form);
    return step.text;
  }

  // Puts what a change of this page answered into what is shown.
  applied(change: Change | ChangeAnswer, form = this.structure?.form ?? ""): void {
    const { answer, version, changed } = "answer" in change ? change : { answer: change, version: null, changed: null };
    if (version !== null) this.know(form, version);
    let shown = 0;
    for (const part of answer.forms ?? []) {
      for (const table of part.tables) {
        shown += table.rows.reduce((sum, row) => sum + Object.keys(row.cells).length, 0);
        if (part.name === this.structure?.form && table.name === this.table?.name) this.patch(table.rows);
      }
    }
    if (changed !== null && changed > shown) this.cache?.outdate();
    this.repaint("changed");
    this.refreshSoon();
  }

  async refreshStructure(): Promise<void> {
    if (!this.structure) return;
    const before = this.structure;
    const structure = await this.api.structure(before.form);
    if (this.structure?.form !== before.form) return;
    const names = this.tables().map((table) => table.name);
    this.take(structure);
    if (sameLayout(before, structure)) {
      this.table = this.tables().find((table) => table.name === this.table?.name) ?? this.table;
      this.emit("history");
      return;
    }
    this.relayout(names.length, names.indexOf(this.table?.name ?? ""));
  }

  async refreshForms(): Promise<void> {
    this.forms = await this.api.forms();
    this.emit("forms");
  }

  // All texts anew, as when the locale is another.
  async reload(): Promise<void> {
    if (this.structure) await this.open(this.structure.form, this.table?.name);
  }

  private newCache(table: TableField): RowCache {
    const form = this.structure!.form;
    const address = addressOf.table(form, table.name);
    const source = {
      rows: (from: number, count: number) => this.api.rows(address, from, count),
      version: () => this.versions[form] ?? 0,
    };
    return new RowCache(source, table.rows, () => this.rowsCame(), (error) => this.rowsFailed(error));
  }

  private rowsCame(): void {
    this.emit("rows");
    if (this.selection) return;
    this.emit("selection");
  }

  private rowsFailed(error: unknown): void {
    if (error instanceof ApiError && error.status > 401) void this.refreshStructure().catch(() => undefined);
  }

  private selectionOf(row: string, index: number, column: string): Selection {
    const form = this.structure!.form;
    const table = this.table!.name;
    return { form, table, column, row, index, address: addressOf.cell(form, table, column, row) };
  }

  private place(row: string | number, column: string): CellPlace {
    return { form: this.structure!.form, table: this.table!.name, column, row };
  }

  // Rows that were appended come with the window that holds them.
  private patch(rows: RowData[]): void {
    this.cache?.apply(rows);
    if (rows.some((row) => this.cache?.indexOf(row.id) === undefined)) this.cache?.outdate();
  }

  // Rows that were appended are there before they have come.
  private countAppended(edit: Edit): void {
    if (!edit.rows.includes(null) || edit.form !== this.structure?.form || edit.table !== this.table?.name) return;
    if (this.cache) this.cache.count = Math.max(this.cache.count, edit.index + edit.rows.length);
  }

  private take(structure: Structure): void {
    this.structure = structure;
    this.know(structure.form, structure.version);
  }

  // Columns or tables are others: the grid keeps its table if that still exists. One of as many
  // tables that is called otherwise was renamed.
  private relayout(count: number, at: number): void {
    const tables = this.tables();
    const same = tables.find((table) => table.name === this.table?.name);
    if (!same) return this.show(tables.length === count ? tables[at]?.name : undefined, true);
    this.table = same;
    this.cache?.outdate();
    this.emit("structure");
  }

  private know(form: string, version: number): void {
    this.versions[form] = Math.max(this.versions[form] ?? 0, version);
  }

  private repaint(event: SessionEvent): void {
    this.emit("rows");
    this.emit(event);
  }

  // What undo would do follows each change; the grid does not wait for it.
  private refreshSoon(): void {
    clearTimeout(this.refreshing);
    this.refreshing = setTimeout(() => {
      if (this.queue.state === "sending") this.refreshSoon();
      else void this.refreshStructure().catch(() => undefined);
    }, 250);
  }

  private send(edit: Edit): Promise<Change> {
    const table = addressOf.table(edit.form, edit.table);
    const [row] = edit.rows;
    const column = edit.columns[0]!;
    const text = edit.texts[0]?.[0];
    if (edit.rows.length === 1 && edit.columns.length === 1 && row && typeof text === "string") {
      return this.api.type(addressOf.cell(edit.form, edit.table, column, row), text, edit.was[0]?.[0] ?? undefined);
    }
    return this.api.block(table, column, edit.index, edit.texts, edit.was);
  }

  private async idsOf(edit: Edit, change: Change): Promise<string[]> {
    const table = addressOf.table(edit.form, edit.table);
    const { rows, version } = await this.api.rows(table, edit.index, edit.rows.length);
    return version === change.version ? rows.map((row) => row.id) : [];
  }

  private async locate(edit: Edit): Promise<number> {
    if (edit.rows[0] === null) return (await this.api.rows(addressOf.table(edit.form, edit.table), 0, 1)).count;
    const place = await this.api.place(addressOf.row(edit.form, edit.table, edit.rows[0] ?? ""));
    if (place.index === null) throw new ApiError(404, `the row "${edit.rows[0]}" is gone`);
    return place.index;
  }

  private async hello(event: Hello): Promise<void> {
    const form = this.structure?.form ?? "";
    const missed = event.server !== this.server || event.versions[form] !== this.versions[form];
    const again = this.server !== "";
    this.server = event.server;
    this.versions = { ...event.versions };
    this.connected = true;
    if (again && missed) this.queue.unplace(form);
    this.queue.wake();
    this.repaint("edits");
    if (!again || !missed) return;
    await this.refreshForms();
    await this.othersChanged(form);
  }

  private async changed(event: Changed): Promise<void> {
    // A form of a removed one's name counts anew.
    if (event.what === "removed") delete this.versions[event.form];
    else this.know(event.form, event.version);
    const own = event.by === this.api.client;
    if (event.what === "new" || event.what === "removed" || event.name) await this.refreshForms();
    if (event.form !== this.structure?.form) return;
    if (event.name) return this.open(event.name, this.table?.name);
    if (event.what === "removed") return this.formRemoved(event, own);
    // What was typed behind an own change already reckons with it.
    if (!own && event.what !== "cells") this.queue.unplace(event.form);
    if (own && event.what === "cells") return;
    await this.othersChanged(event.form, event.what);
  }

  // What others did is read once the server answers again.
  private catchUp(error: unknown): void {
    if (!(error instanceof ApiError) || error.status !== 0) return;
    clearTimeout(this.catchingUp);
    const read = () => this.refreshForms().then(() => this.othersChanged(this.structure?.form ?? ""));
    this.catchingUp = setTimeout(() => void read().catch((again) => this.catchUp(again)), 500);
  }

  private async othersChanged(form: string, what: Changed["what"] = "structure"): Promise<void> {
    if (form !== this.structure?.form) return;
    this.cache?.outdate();
    if (what === "cells") this.refreshSoon();
    else await this.refreshStructure();
    this.emit("changed");
  }

  private async formRemoved(event: Changed, own: boolean): Promise<void> {
    if (!own) this.handlers.alert(`The form "${event.form}" was removed by somebody else.`);
    const next = this.forms[0];
    if (next !== undefined) return this.open(next);
    this.structure = null;
    this.show(undefined, true);
  }

  private notice(event: Notice): void {
    if (event.severity === "alert") this.handlers.alert(event.text);
    else this.handlers.announce(event.text);
  }

  private lost(): void {
    this.connected = false;
    this.emit("edits");
  }
}

function shownTyped(text: string, column: Column): Omit<ShownCell, "conflict"> {
  const quantity = column.type === "number" || column.formula !== null;
  const state: CellState = text === "" ? "" : quantity ? "entered" : "noted";
  return { text, state, unsent: true, stale: false };
}

// Whether columns, formulas, tables and fields are the same; row counts come with the rows.
function sameLayout(a: Structure, b: Structure): boolean {
  const layout = (structure: Structure) =>
    JSON.stringify(structure.fields.map((field) => (field.kind === "table" ? { ...field, rows: 0 } : field)));
  return layout(a) === layout(b);
}
