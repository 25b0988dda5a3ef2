// Edits on their way to the server: in order, one at a time. They outlive a lost connection, a
// restart of the server and a reload of the page; a text that cannot be typed in is put aside,
// never lost.
import { ApiError, type Change, type Texts } from "../api";

// A block of texts from a cell on; a single cell is a block of one.
export interface Edit {
  form: string;
  table: string;
  columns: string[];
  // Where the first row stood (from 0) and the ids of the rows; null for rows to be appended.
  index: number;
  rows: (string | null)[];
  // null leaves a cell as it is.
  texts: Texts;
  // What the cells showed; null does not ask.
  was: Texts;
  // False when the rows may stand elsewhere by now.
  placed: boolean;
}

export interface Conflict {
  form: string;
  table: string;
  column: string;
  row: string;
  mine: string;
  theirs: string;
}

// A text that is not in the notebook, kept for the person who typed it.
export interface Aside {
  cell: string;
  text: string;
  why: string;
}

export interface CellPlace {
  form: string;
  table: string;
  column: string;
  // Id, or position while it has none.
  row: string | number;
}

export type QueueState = "idle" | "sending" | "offline" | "locked";

export interface QueueHandlers {
  send(edit: Edit): Promise<Change>;
  // Where the first row stands now, or would be appended; throws when it is gone.
  locate(edit: Edit): Promise<number>;
  // The ids of the rows of an edit that was made, unless the table was changed since.
  ids(edit: Edit, change: Change): Promise<string[]>;
  answered(edit: Edit, change: Change): void;
  refused(edit: Edit, error: ApiError): void;
  conflict(conflict: Conflict): void;
  // Texts or state are others.
  changed(): void;
}

// The place of storage is the tab's own.
const storageKey = "ktnotebook.unsent";
const asideLimit = 200;
const retryWaits = [300, 600, 1000, 2000];
const retried = new Set([0, 401, 408, 429, 502, 503, 504]);

interface Kept {
  edits: Edit[];
  conflicts: Conflict[];
  aside: Aside[];
}

export class EditQueue {
  state: QueueState = "idle";
  conflicts: Conflict[] = [];
  aside: Aside[] = [];
  private edits: Edit[] = [];
  private inFlight: Edit | null = null;
  private texts: Map<string, string> | null = null;
  private waiting: (() => void)[] = [];
  private wakeUp: (() => void) | null = null;
  private failures = 0;

  constructor(private readonly handlers: QueueHandlers, private readonly storage: Storage) {}

  // Takes up what was left when the page was loaded last.
  restore(): void {
    const kept = readKept(this.storage);
    this.edits = kept.edits.map((edit) => ({ ...edit, placed: false }));
    this.conflicts = kept.conflicts;
    this.aside = kept.aside;
    this.start();
  }

  get unsent(): number {
    return this.edits.length;
  }

  add(edit: Edit): void {
    this.edits.push(edit);
    this.edited();
    this.start();
  }

  // The text that is on its way to a cell, if any. A row that was appended a moment ago may be known
  // here by its position only.
  textOf(cell: CellPlace, index?: number): string | undefined {
    if (this.edits.length === 0) return undefined;
    this.texts ??= this.readTexts();
    const text = this.texts.get(keyOf(cell));
    return text ?? (index === undefined ? undefined : this.texts.get(keyOf({ ...cell, row: index })));
  }

  // How many rows a table will have once all is sent.
  rowsOf(form: string, table: string, present: number): number {
    const ends = this.edits
      .filter((edit) => edit.form === form && edit.table === table && edit.rows.includes(null))
      .map((edit) => edit.index + edit.rows.length);
    return Math.max(present, ...ends);
  }

  conflictAt(cell: CellPlace): Conflict | undefined {
    return this.conflicts.find((conflict) => keyOf(conflict) === keyOf(cell));
  }

  // Rows of a table may stand elsewhere: blocks are placed anew before they are sent.
  unplace(form: string): void {
    for (const edit of this.edits) if (edit.form === form) edit.placed = false;
  }

  // Takes back the last edit, unless it is being sent.
  takeBack(): Edit | undefined {
    const last = this.edits[this.edits.length - 1];
    if (!last || last === this.inFlight) return undefined;
    this.edits.pop();
    this.edited();
    return last;
  }

  // Resolves to true once all is sent, to false when that has to wait for the server.
  async drained(): Promise<boolean> {
    while (this.state === "sending") await new Promise<void>((resolve) => this.waiting.push(resolve));
    return this.edits.length === 0;
  }

  // The server is there again.
  wake(): void {
    this.wakeUp?.();
    this.start();
  }

  settle(conflict: Conflict, keep: "mine" | "theirs"): void {
    this.conflicts = this.conflicts.filter((other) => other !== conflict);
    if (keep === "mine") {
      this.add(editOf(conflict));
    } else {
      this.putAside({ cell: nameOf(conflict), text: conflict.mine, why: "the other text was taken" });
      this.edited();
    }
  }

  putAside(text: Aside): void {
    this.aside = [text, ...this.aside].slice(0, asideLimit);
    this.keep();
  }

  private start(): void {
    if (this.state === "idle" && this.edits.length > 0) void this.pump();
  }

  private async pump(): Promise<void> {
    this.enter("sending");
    for (let edit = this.edits[0]; edit; edit = this.edits[0]) {
      const done = await this.attempt(edit);
      if (!done) await this.pause();
    }
    this.enter("idle");
  }

  // True when the edit needs no further attempt.
  private async attempt(edit: Edit): Promise<boolean> {
    const outcome = await this.deliver(edit);
    if (outcome instanceof ApiError && retried.has(outcome.status)) return this.fail(outcome);
    this.failures = 0;
    this.enter("sending");
    this.edits = this.edits.filter((other) => other !== edit);
    if (outcome instanceof ApiError) {
      this.refuse(edit, outcome);
    } else {
      this.accept(edit, outcome);
      await this.learnIds(edit, outcome);
    }
    this.edited();
    return true;
  }

  private async deliver(edit: Edit): Promise<Change | ApiError> {
    this.inFlight = edit;
    try {
      await this.place(edit);
      return await this.handlers.send(edit);
    } catch (error) {
      return error instanceof ApiError ? error : new ApiError(-1, String(error));
    } finally {
      this.inFlight = null;
    }
  }

  private async place(edit: Edit): Promise<void> {
    if (edit.placed) return;
    const shift = (await this.handlers.locate(edit)) - edit.index;
    const isNew = edit.rows[0] === null;
    // Further texts for rows that are to be appended go along with them.
    const along = isNew ? this.edits.filter((other) => other.rows[0] === null && sameTable(other, edit)) : [edit];
    for (const other of along) {
      other.index += shift;
      other.placed = true;
    }
    if (shift !== 0) this.edited();
  }

  // Texts that wait for rows which were just appended are for those, wherever they stand later.
  private async learnIds(edit: Edit, change: Change): Promise<void> {
    const waiting = this.edits.filter((other) => sameTable(other, edit) && other.rows.includes(null));
    if (!edit.rows.includes(null) || waiting.length === 0) return;
    const ids = await this.handlers.ids(edit, change).catch(() => []);
    for (const other of waiting) {
      other.rows = other.rows.map((id, i) => id ?? ids[other.index + i - edit.index] ?? null);
    }
  }

  private fail(error: ApiError): false {
    this.enter(error.status === 401 ? "locked" : "offline");
    return false;
  }

  private async pause(): Promise<void> {
    const wait = retryWaits[Math.min(this.failures++, retryWaits.length - 1)]!;
    await new Promise<void>((resolve) => {
      this.wakeUp = resolve;
      setTimeout(resolve, wait);
    });
    this.wakeUp = null;
  }

  private refuse(edit: Edit, error: ApiError): void {
    const present = presentTexts(edit, error);
    const isKnown = (): boolean => {
      let known = false;
      forEachText(edit, (_, cell) => (known ||= present.has(nameOf(cell))));
      return known;
    };
    if (error.status === 409 && isKnown()) this.divide(edit, present);
    else this.handlers.refused(edit, error);
  }

  // Cells that somebody else has changed become conflicts, the others of the block are typed.
  private divide(edit: Edit, present: Map<string, string>): void {
    const rest: Edit = { ...edit, texts: edit.texts.map((row) => [...row]) };
    forEachText(edit, (text, cell, i, j) => {
      const theirs = present.get(nameOf(cell));
      if (theirs === undefined) return;
      rest.texts[i]![j] = null;
      // The answer to an edit that was made got lost.
      if (theirs === text) return;
      this.collide({ ...cell, row: String(cell.row), mine: this.newest(cell) ?? text, theirs });
    });
    if (rest.texts.flat().some((text) => text !== null)) this.edits.unshift(rest);
  }

  private collide(conflict: Conflict): void {
    this.conflicts = this.conflicts.filter((other) => keyOf(other) !== keyOf(conflict));
    this.conflicts.push(conflict);
    this.handlers.conflict(conflict);
  }

  // The last text on its way to a cell; its edits leave the queue.
  private newest(cell: CellPlace): string | undefined {
    this.texts = null;
    const text = this.textOf(cell);
    for (const edit of this.edits) {
      forEachText(edit, (_, place, i, j) => {
        if (keyOf(place) === keyOf(cell)) edit.texts[i]![j] = null;
      });
    }
    this.edits = this.edits.filter((edit) => edit.texts.flat().some((other) => other !== null));
    return text;
  }

  private accept(edit: Edit, change: Change): void {
    this.texts = null;
    const tables = change.answer.forms.flatMap((form) => (form.name === edit.form ? form.tables : []));
    const rows = tables.flatMap((table) => (table.name === edit.table ? table.rows : []));
    for (const row of rows) {
      for (const [column, cell] of Object.entries(row.cells)) {
        this.expect({ form: edit.form, table: edit.table, column, row: row.id }, cell.text);
      }
    }
    this.handlers.answered(edit, change);
  }

  // Our own change made `text` of the cell: that is no conflict for the first edit that waits for it.
  private expect(cell: CellPlace, text: string): void {
    for (const edit of this.edits) {
      const at = positionIn(edit, cell);
      if (!at) continue;
      if (edit.was[at.row]?.[at.column] != null) edit.was[at.row]![at.column] = text;
      return;
    }
  }

  private readTexts(): Map<string, string> {
    const texts = new Map<string, string>();
    for (const edit of this.edits) forEachText(edit, (text, cell) => texts.set(keyOf(cell), text));
    return texts;
  }

  private enter(state: QueueState): void {
    const other = this.state !== state;
    this.state = state;
    if (state !== "sending") for (const resolve of this.waiting.splice(0)) resolve();
    if (other) this.handlers.changed();
  }

  private edited(): void {
    this.texts = null;
    this.keep();
    this.handlers.changed();
  }

  private keep(): void {
    const kept: Kept = { edits: this.edits, conflicts: this.conflicts, aside: this.aside };
    try {
      this.storage.setItem(storageKey, JSON.stringify(kept));
    } catch {
      // Too much for the storage: what was kept before is out of date now.
      this.storage.removeItem(storageKey);
    }
  }
}

// FORM/TABLE:COLUMN:ROW
export function nameOf(cell: CellPlace): string {
  return `${cell.form}/${cell.table}:${cell.column}:${cell.row}`;
}

export function forEachText(
  edit: Edit,
  visit: (text: string, cell: CellPlace, row: number, column: number) => void,
): void {
  edit.texts.forEach((row, i) =>
    row.forEach((text, j) => {
      if (text !== null) visit(text, cellIn(edit, i, j), i, j);
    }));
}

function sameTable(a: Edit, b: Edit): boolean {
  return a.form === b.form && a.table === b.table;
}

function cellIn(edit: Edit, row: number, column: number): CellPlace {
  const { form, table, columns } = edit;
  return { form, table, column: columns[column]!, row: edit.rows[row] ?? edit.index + row };
}

function keyOf(cell: CellPlace): string {
  return JSON.stringify([cell.form, cell.table, cell.column, cell.row]);
}

function editOf({ form, table, column, row, mine, theirs }: Conflict): Edit {
  return { form, table, columns: [column], index: 0, rows: [row], texts: [[mine]], was: [[theirs]], placed: false };
}

function positionIn(edit: Edit, cell: CellPlace): { row: number; column: number } | null {
  if (edit.form !== cell.form || edit.table !== cell.table) return null;
  const row = edit.rows.findIndex((id, i) => (id ?? edit.index + i) === cell.row);
  const column = edit.columns.indexOf(cell.column);
  const there = row >= 0 && column >= 0 && edit.texts[row]![column] !== null;
  return there ? { row, column } : null;
}

function presentTexts(edit: Edit, error: ApiError): Map<string, string> {
  const { present, conflicts } = error.body as { present?: string; conflicts?: { cell: string; present: string }[] };
  if (conflicts) return new Map(conflicts.map((conflict) => [conflict.cell, conflict.present]));
  return new Map(present === undefined ? [] : [[nameOf(cellIn(edit, 0, 0)), present]]);
}

function readKept(storage: Storage): Kept {
  const nothing: Kept = { edits: [], conflicts: [], aside: [] };
  try {
    return { ...nothing, ...(JSON.parse(storage.getItem(storageKey) ?? "{}") as Partial<Kept>) };
  } catch {
    return nothing;
  }
}
