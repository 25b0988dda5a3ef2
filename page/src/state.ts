// What the parts of the page know of each other.
import type { Api, Change, ChangeAnswer, Structure, TableField } from "./api";

export interface Selection {
  form: string;
  table: string;
  column: string;
  // The row's id, and where it stands (from 0).
  row: string;
  index: number;
  // FORM/TABLE:COLUMN:ROW
  address: string;
}

// selection: another cell is selected. changed: cells of the present form have other texts, by
// whomever. structure: other columns, formulas, tables, or another form.
export type AppEvent = "selection" | "changed" | "structure";

export class Emitter<Event extends string> {
  private readonly listeners = new Map<Event, Set<() => void>>();

  // Returns what ends the subscription.
  on(event: Event, listener: () => void): () => void {
    const all = this.listeners.get(event) ?? new Set();
    this.listeners.set(event, all.add(listener));
    return () => all.delete(listener);
  }

  emit(event: Event): void {
    for (const listener of [...(this.listeners.get(event) ?? [])]) listener();
  }
}

// What panels and dialogs see of the page.
export interface App {
  readonly api: Api;
  readonly selection: Selection | null;
  // Of the present form; null while there is none.
  readonly structure: Structure | null;
  // The table that the grid shows.
  readonly table: TableField | null;
  // Selects a cell (FORM/TABLE:COLUMN:ROW) and scrolls there, changing form and table when needed;
  // an address without row or column shows its table or column.
  select(address: string): Promise<void>;
  // Returns what ends the subscription.
  on(event: AppEvent, listener: () => void): () => void;
  // Does a change behind all edits that are still to be sent. What it answers is shown in the
  // grid; a refusal is shown as an alert, and the answer is then undefined.
  run<T>(change: () => Promise<T>): Promise<T | undefined>;
  // Shows the cells that a change of this page changed; `run` does this with what `change` returns
  // where that is a Change or ChangeAnswer.
  applied(change: Change | ChangeAnswer): void;
  // Tells, in the status line and to screen readers.
  announce(text: string): void;
  // Shows an alert that stays until it is dismissed.
  alert(text: string): void;
  // By the id of its entry in panels/index.ts.
  openPanel(id: string): void;
  closePanel(id: string): void;
}

// A part beside the grid. The host element is empty and its own.
export interface Panel {
  title: string;
  // Shows the present selection and cells; called after it came into view.
  refresh(): void;
  destroy(): void;
}

export interface PanelEntry {
  id: string;
  label: string;
  mount(host: HTMLElement, app: App): Panel;
  // A dialog over the page rather than a tab beside the grid; it calls app.closePanel when done.
  dialog?: boolean;
}
