// The grid under the hands of a person: keys, pointer, clipboard and editing.
import type { Column, Texts } from "../api";
import type { Session } from "../session";
import { clipboard, readBlock, writeBlock } from "./clipboard";
import { CellEditor, type Leaving } from "./editor";
import { commandOf, isTyping, type Command } from "./keys";
import { edgeFrom, height, isSingle, rangeOf, repeatInto, width, type Range, type Spot } from "./range";
import { GridView, kindOf } from "./view";
import { ColumnWidths } from "./widths";

// How far a key widens a column.
const widthStep = 16;
// The rows whose texts make columns wide.
const fittedRows = 200;
// Texts of more rows are changed without asking what they showed.
const mostAsked = 20_000;

export interface GridHandlers {
  announce(text: string): void;
  alert(text: string): void;
  // The menu of a column (row -1), a row (column -1) or a cell.
  menu(spot: Spot, range: Range, anchor: DOMRect): void;
  // What was being typed into a cell that is gone.
  stranded(cell: string, text: string): void;
}

// The cell that is edited, wherever it stands by now: the active one.
interface Edited {
  // FORM/TABLE
  table: string;
  column: string;
  // All of the table.
  columns: string[];
  // Of the row; undefined while it has none.
  id: string | undefined;
  // The row is still to be appended.
  isNew: boolean;
  was: string;
}

export class Grid {
  readonly view: GridView;
  private readonly widths: ColumnWidths;
  private readonly editor: CellEditor;
  // Where the selection began; it ends at the active cell.
  private anchor: Spot = { row: 0, column: 0 };
  private edited: Edited | null = null;
  // The column to which Enter goes back after Tab.
  private tabColumn: number | null = null;
  private tabLeaves = false;
  private drag: "select" | "fill" | null = null;
  private activeId: string | undefined;
  private activeColumn: string | undefined;

  constructor(private readonly session: Session, private readonly handlers: GridHandlers) {
    this.widths = new ColumnWidths(localStorage);
    this.view = new GridView(session, this.widths);
    this.editor = new CellEditor({
      commit: (text, leaving, touched, blurred) => this.commit(text, leaving, touched, blurred),
      cancel: () => this.endEdit(true),
    });
    this.listen();
  }

  start(): void {
    this.view.start();
    this.session.on("structure", () => this.showTable());
    this.session.on("rows", () => this.rowsCame());
    this.session.on("changed", () => {
      this.fitted &&= this.session.rowCount() > fittedRows;
      this.fit();
    });
  }

  focus(): void {
    this.view.at(this.view.active)?.focus({ preventScroll: true });
  }

  get isEditing(): boolean {
    return this.editor.isOpen;
  }

  get range(): Range {
    return this.view.range;
  }

  get active(): Spot {
    return this.view.active;
  }

  goTo(spot: Spot, extend = false): void {
    this.editor.commit();
    const held = this.holdsFocus();
    const active = this.clamp(spot);
    this.view.active = active;
    if (!extend) this.anchor = active;
    this.view.range = this.rangeTo(active);
    this.remember();
    this.view.reveal(active);
    if (held) this.focus();
    if (active.row >= 0 && active.column >= 0) this.session.select(active.row, active.column);
  }

  // Opens the editor on the active cell, with the text given or its own.
  edit(text?: string): void {
    this.startEdit(text, "edit");
  }

  // The texts of cells as the person sees them.
  async textsOf(range: Range): Promise<string[][]> {
    const columns = this.columns().slice(range.left, range.right + 1);
    const count = this.session.cache?.count ?? 0;
    const kept = Array.from({ length: height(range) }, (_, i) =>
      columns.map((column) => this.session.cell(range.top + i, column)?.text));
    if (kept.every((row) => row.every((text) => text !== undefined))) return kept as string[][];
    const rows = await this.session.cache!.read(range.top, Math.min(range.bottom + 1, count));
    return Array.from({ length: height(range) }, (_, i) =>
      columns.map((column) => rows[i]?.cells[column.name]?.text ?? ""));
  }

  // Changes the texts of a range, each to what `change` makes of it; null leaves it.
  async change(range: Range, change: (text: string, row: number, column: number) => string | null): Promise<void> {
    const texts = await this.textsOf(range);
    const next: Texts = texts.map((row, i) => row.map((text, j) => change(text, i, j)));
    if (next.flat().every((text) => text === null)) return;
    const ask = texts.length <= mostAsked;
    const was: Texts = texts.map((row, i) => row.map((text, j) => (ask && next[i]![j] !== null ? text : null)));
    this.session.type(range.top, range.left, next, was);
  }

  async clear(): Promise<void> {
    await this.change(this.cellRange(), (text) => (text === "" ? null : ""));
  }

  async copy(): Promise<void> {
    await clipboard().writeText(writeBlock(await this.textsOf(this.cellRange())));
  }

  async paste(text: string): Promise<void> {
    const block = readBlock(text);
    const { top, left } = this.cellRange();
    const texts = isSingle(this.range) ? block : repeatInto(block, this.cellRange());
    const columns = texts[0]?.length ?? 0;
    if (left + columns > this.columns().length) {
      this.handlers.alert(`The block is ${columns} columns wide; from this cell on the table has ${this.columns().length - left}.`);
      return;
    }
    const range = { top, left, bottom: top + texts.length - 1, right: left + columns - 1 };
    await this.change(range, (_, i, j) => texts[i]![j]!);
    this.select(range);
    this.handlers.announce(`Pasted ${count(texts.length, "row")} of ${count(columns, "column")}`);
  }

  async fill(direction: "down" | "right"): Promise<void> {
    const down = direction === "down";
    let range = this.cellRange();
    if (down && height(range) === 1) range = { ...range, top: Math.max(0, range.top - 1) };
    if (isSingle(range)) return;
    const texts = await this.textsOf(range);
    await this.change(range, (_, i, j) => {
      if (down) return i === 0 ? null : texts[0]![j]!;
      return j === 0 ? null : texts[i]![0]!;
    });
    this.handlers.announce(`Filled ${direction}`);
  }

  resizeColumn(column: number, change: number | null): void {
    const which = this.columns()[column];
    if (!which) return;
    if (change === null) this.widths.forget(which.name);
    else this.widths.choose(which.name, this.widths.of(which) + change);
    this.view.measure();
  }

  private select(range: Range): void {
    this.anchor = { row: range.top, column: range.left };
    this.view.range = range;
    this.view.active = { ...this.anchor };
    this.view.reveal(this.anchor);
    if (this.holdsFocus()) this.focus();
  }

  private columns(): Column[] {
    return this.session.table?.columns ?? [];
  }

  private holdsFocus(): boolean {
    return this.view.element.contains(document.activeElement);
  }

  // The selected cells, without headers and without the empty row below unless it is all.
  private cellRange(): Range {
    const { top, left, bottom, right } = this.range;
    const last = Math.max(top, Math.min(bottom, this.session.rowCount() - 1));
    return { top, left, bottom: last, right };
  }

  // The row or column of a header, or the cells from the anchor on.
  private rangeTo({ row, column }: Spot): Range {
    const last: Spot = { row: Math.max(0, this.session.rowCount() - 1), column: Math.max(0, this.columns().length - 1) };
    if (row < 0 && column < 0) return { top: 0, left: 0, bottom: last.row, right: last.column };
    if (row < 0) return { ...rangeOf(this.anchor, { row, column }), top: 0, bottom: last.row };
    if (column < 0) return { ...rangeOf(this.anchor, { row, column }), left: 0, right: last.column };
    const from = { row: Math.max(0, this.anchor.row), column: Math.max(0, this.anchor.column) };
    return rangeOf(from, { row, column });
  }

  // Where there are no columns yet, the place of the first one.
  private clamp({ row, column }: Spot): Spot {
    return {
      row: Math.min(Math.max(row, -1), this.session.rowCount()),
      column: Math.min(Math.max(column, -1), Math.max(0, this.columns().length - 1)),
    };
  }

  private showTable(): void {
    const isSame = this.session.tableAddress() === this.shownTable;
    const held = this.holdsFocus();
    if (this.edited && !(isSame && this.followName(this.edited))) this.strand(this.edited);
    this.editor.along(() => {
      if (isSame) this.followColumn();
      else this.showFromStart();
      this.view.active = this.clamp(this.view.active);
      this.view.range = this.rangeTo(this.view.active);
      this.fitted = false;
      this.view.editing = this.edited && this.view.active;
      this.view.layout();
      this.fit();
      return this.view.at(this.active);
    });
    // The selected column may be gone, or be called otherwise.
    if (this.session.selection) this.session.select(Math.max(0, this.active.row), Math.max(0, this.active.column));
    if (held && !this.edited) this.focus();
  }
  private shownTable = "";
  private fitted = false;

  private showFromStart(): void {
    this.shownTable = this.session.tableAddress();
    this.widths.show(this.shownTable);
    this.view.element.scrollTo(0, 0);
    this.view.active = this.anchor = { row: 0, column: 0 };
    this.activeId = this.activeColumn = undefined;
  }

  private rowsCame(): void {
    const held = this.holdsFocus();
    this.editor.along(() => {
      this.followRow();
      this.stayInside();
      this.view.editing = this.edited && this.view.active;
      this.fit();
      this.view.render();
      return this.view.at(this.active);
    });
    if (held && !this.edited) this.focus();
    if (!this.session.selection) this.session.select(this.active.row, this.active.column);
  }

  private columnAt(name: string | undefined): number {
    return this.columns().findIndex((column) => column.name === name);
  }

  private remember(): void {
    this.activeId = this.session.rowId(this.active.row);
    this.activeColumn = this.columns()[this.active.column]?.name;
  }

  // The active cell stays in its column when columns come, go or move.
  private followColumn(): void {
    const now = this.columnAt(this.activeColumn);
    if (now < 0) return;
    this.anchor = { ...this.anchor, column: Math.max(0, this.anchor.column + now - this.active.column) };
    this.view.active = { ...this.active, column: now };
  }

  // The active cell stays in its row when rows come or go above it.
  private followRow(): void {
    const now = this.placeOfActive();
    if (now !== this.active.row) {
      const shift = now - this.active.row;
      this.view.active = { ...this.active, row: now };
      this.anchor = { ...this.anchor, row: Math.max(0, this.anchor.row + shift) };
      this.view.range = this.rangeTo(this.active);
      this.session.select(now, this.active.column);
      if (this.holdsFocus() && !this.edited) this.focusSoon();
    }
    this.remember();
  }

  // A row that is being begun stays the last one.
  private placeOfActive(): number {
    if (this.edited?.isNew) return Math.max(this.active.row, this.session.rowCount());
    const id = this.edited?.id ?? this.activeId;
    return (id === undefined ? undefined : this.session.cache?.indexOf(id)) ?? this.active.row;
  }

  // The active cell's row, and those behind it, may be gone.
  private stayInside(): void {
    const inside = this.clamp(this.active);
    if (inside.row === this.active.row || this.editor.isOpen) return;
    this.view.active = this.anchor = inside;
    this.view.range = this.rangeTo(inside);
    this.session.select(inside.row, inside.column);
  }

  private focusSoon(): void {
    this.view.render();
    this.focus();
  }

  // The edit goes on where its column is only called otherwise now; false when that is gone.
  private followName(edited: Edited): boolean {
    const names = this.columns().map((column) => column.name);
    const at = edited.columns.indexOf(edited.column);
    const different = names.filter((name, i) => name !== edited.columns[i]);
    const isRenamed = names.length === edited.columns.length && different.length === 1 && names[at] === different[0];
    if (isRenamed) edited.column = different[0]!;
    edited.columns = names;
    this.activeColumn = edited.column;
    return names.includes(edited.column);
  }

  // Once the first rows are there; in a table that has no more, after each change.
  private fit(): void {
    if (this.fitted) return;
    const rows = Array.from({ length: fittedRows }, (_, i) => this.session.cache?.row(i)).filter((row) => row !== undefined);
    this.fitted = rows.length > 0;
    const other = this.widths.fit(this.columns(), rows, this.view.font());
    const widest = Math.max(0, ...rows.map((row) => this.widths.textWidth(row.id)), this.widths.textWidth(String(this.session.rowCount())));
    const headerWidth = Math.min(160, Math.max(44, widest + 20));
    const moved = headerWidth !== this.view.rowHeaderWidth;
    this.view.rowHeaderWidth = headerWidth;
    if (other || moved) this.view.measure();
  }

  private listen(): void {
    const element = this.view.element;
    element.addEventListener("keydown", (event) => this.keyDown(event));
    element.addEventListener("pointerdown", (event) => this.pointerDown(event));
    element.addEventListener("dblclick", (event) => this.doubleClick(event));
    element.addEventListener("contextmenu", (event) => this.contextMenu(event));
    element.addEventListener("focusin", () => (this.tabLeaves = false));
    document.addEventListener("copy", (event) => this.clipboard(event, () => this.onCopy(event)));
    document.addEventListener("cut", (event) => this.clipboard(event, () => this.onCut(event)));
    document.addEventListener("paste", (event) => this.clipboard(event, () => this.onPaste(event)));
  }

  private keyDown(event: KeyboardEvent): void {
    if (event.target instanceof HTMLButtonElement) return;
    const command = commandOf(event);
    const onCell = this.active.row >= 0 && this.active.column >= 0;
    if (!onCell && this.headerKey(event)) return event.preventDefault();
    if (command) {
      if (this.obey(command)) event.preventDefault();
    } else if (onCell && isTyping(event)) {
      this.startEdit("", "enter");
    }
  }

  // Keys of column and row headers.
  private headerKey(event: KeyboardEvent): boolean {
    const resize = this.active.row < 0 && event.shiftKey ? { ArrowLeft: -widthStep, ArrowRight: widthStep }[event.key] : undefined;
    if (resize !== undefined) {
      this.resizeColumn(this.active.column, resize);
      return true;
    }
    if (event.key !== "Enter" && event.key !== " ") return false;
    this.openMenu();
    return true;
  }

  private obey(command: Command): boolean {
    const { row } = this.active;
    const step = (rows: number, columns: number, extend = false) => this.step(rows, columns, extend);
    const extend = "extend" in command && command.extend === true;
    switch (command.do) {
      case "move": return step(command.rows, command.columns, extend);
      case "edge": return this.toEdge(command.rows, command.columns, extend);
      case "page": return step(command.pages * this.view.page(), 0, extend);
      case "rowStart": return this.jump({ row, column: 0 }, extend);
      case "rowEnd": return this.jump({ row, column: this.columns().length - 1 }, extend);
      case "tableStart": return this.jump({ row: 0, column: 0 }, extend);
      case "tableEnd": return this.jump({ row: this.session.rowCount() - 1, column: this.columns().length - 1 }, extend);
      case "next": return this.tab(1);
      case "previous": return this.tab(-1);
      case "enter": return this.leave({ rows: 1, columns: 0 });
      case "enterBack": return this.leave({ rows: -1, columns: 0 });
      case "edit": return this.startEdit(undefined, "edit");
      case "clear": return this.attempt(this.clear());
      case "selectAll": return this.selectAll();
      case "fillDown": return this.attempt(this.fill("down"));
      case "fillRight": return width(this.range) > 1 && this.attempt(this.fill("right"));
      case "menu": return this.openMenu();
      case "escape": return (this.tabLeaves = true);
    }
  }

  private attempt(work: Promise<void>): true {
    work.catch((error: unknown) => this.handlers.alert(error instanceof Error ? error.message : String(error)));
    return true;
  }

  private jump(spot: Spot, extend: boolean): true {
    this.tabColumn = null;
    this.goTo(spot, extend);
    return true;
  }

  // Headers are reached by arrows, not by extending a selection or by pages.
  private step(rows: number, columns: number, extend: boolean): true {
    const { row, column } = this.active;
    const lowest = extend || Math.abs(rows) > 1 ? 0 : -1;
    const next = { row: Math.max(row + rows, Math.min(row, lowest)), column: Math.max(column + columns, Math.min(column, lowest)) };
    return this.jump(next, extend);
  }

  private toEdge(rows: -1 | 0 | 1, columns: -1 | 0 | 1, extend: boolean): true {
    const { row, column } = this.active;
    if (row < 0 || column < 0) return this.step(rows, columns, extend);
    const filledRow = (at: number) => this.filled(at, column);
    const filledColumn = (at: number) => this.filled(row, at);
    const next = rows === 0
      ? { row, column: edgeFrom(column, columns as 1 | -1, this.columns().length - 1, filledColumn) }
      : { row: edgeFrom(row, rows, Math.max(0, this.session.rowCount() - 1), filledRow), column };
    return this.jump(next, extend);
  }

  private filled(row: number, column: number): boolean | undefined {
    const cell = this.session.cell(row, this.columns()[column]!);
    return cell && cell.text !== "";
  }

  // Tab goes through the cells, and out of the grid after Escape.
  private tab(step: 1 | -1): boolean {
    if (this.tabLeaves) return false;
    const { row, column } = this.active;
    const last = this.columns().length - 1;
    this.tabColumn ??= column;
    const start = this.tabColumn;
    if (step === 1 && column === last) this.goTo({ row: row + 1, column: 0 });
    else if (step === -1 && column <= 0) this.goTo({ row: Math.max(0, row - 1), column: last });
    else this.goTo({ row, column: column + step });
    this.tabColumn = start;
    return true;
  }

  private leave({ rows, columns }: Leaving): true {
    if (columns !== 0) {
      this.tab(columns > 0 ? 1 : -1);
      return true;
    }
    const { row, column } = this.active;
    return this.jump({ row: Math.max(0, row + rows), column: rows > 0 ? (this.tabColumn ?? column) : column }, false);
  }

  private selectAll(): true {
    this.anchor = { row: 0, column: 0 };
    this.view.range = this.rangeTo({ row: -1, column: -1 });
    this.view.render();
    return true;
  }

  private startEdit(text: string | undefined, mode: "enter" | "edit"): true {
    const spot = this.active;
    const column = this.columns()[spot.column];
    if (!column || spot.row < 0) return true;
    const cell = this.session.cell(spot.row, column);
    if (!cell) return true;
    this.goTo(spot);
    const element = this.view.at(spot);
    if (!element) return true;
    this.edited = {
      table: this.shownTable,
      column: column.name,
      columns: this.columns().map((each) => each.name),
      id: this.session.rowId(spot.row),
      isNew: spot.row >= this.session.rowCount(),
      was: cell.text,
    };
    this.view.editing = spot;
    this.view.render();
    this.editor.start(element, `${column.name}, ${this.session.rowId(spot.row) ?? "new row"}`, text ?? cell.text, mode);
    if (text !== undefined && text !== "") this.editor.touch();
    return true;
  }

  private commit(text: string, leaving: Leaving | null, touched: boolean, blurred: boolean): void {
    const { id, was } = this.edited!;
    this.edited = null;
    const { row, column: at } = this.active;
    const column = this.columns()[at]!;
    const before = this.session.cell(row, column);
    const kind = before && kindOf(before);
    const same = text === was && (kind === "typed" || kind === "noted" || kind === "empty");
    if (touched && !same) this.session.type(row, at, [[text]], [[was]], [id ?? this.session.rowId(row) ?? null]);
    if (touched && !same && column.formula !== null) this.tellOverride(text, column, kind === "computed" || kind === "error");
    this.endEdit(!blurred);
    if (leaving) this.leave(leaving);
  }

  private strand({ table, column, id }: Edited): void {
    const text = this.editor.abandon();
    if (text !== null) this.handlers.stranded(`${table}:${column}:${id ?? "new row"}`, text);
    this.edited = null;
  }

  private tellOverride(text: string, column: Column, computed: boolean): void {
    if (text === "") this.handlers.announce(`${column.name} is computed here again`);
    else if (computed) this.handlers.announce(`${column.name} is typed here now; empty the cell to compute it again`);
  }

  private endEdit(refocus: boolean): void {
    this.edited = null;
    this.view.editing = null;
    this.view.render();
    if (refocus) this.focus();
  }

  private pointerDown(event: PointerEvent): void {
    const target = event.target as Element;
    if (event.button !== 0 && event.button !== 2) return;
    const spot = this.view.spotOf(target);
    if (target.closest(".header-menu")) return this.pressMenu(event, spot);
    if (target.closest(".resizer")) return this.startResize(event, spot!);
    if (target.closest(".fill-handle")) return this.startDrag(event, "fill");
    if (!spot) return;
    event.preventDefault();
    this.tabColumn = null;
    const inside = spot.row >= this.range.top && spot.row <= this.range.bottom && spot.column >= this.range.left && spot.column <= this.range.right;
    if (event.button === 2 && inside) return;
    this.goTo(spot, event.shiftKey);
    this.focus();
    if (event.button === 0) this.startDrag(event, "select");
  }

  private pressMenu(event: PointerEvent, spot: Spot | null): void {
    event.preventDefault();
    if (!spot) return;
    this.goTo(spot);
    this.focus();
    this.openMenu();
  }

  private startDrag(event: PointerEvent, drag: "select" | "fill"): void {
    event.preventDefault();
    this.drag = drag;
    const from = this.range;
    const move = (moved: PointerEvent) => this.dragTo(moved, from);
    const end = () => {
      document.removeEventListener("pointermove", move);
      document.removeEventListener("pointerup", end);
      if (this.drag === "fill") this.attempt(this.fillFrom(from));
      this.drag = null;
    };
    document.addEventListener("pointermove", move);
    document.addEventListener("pointerup", end);
  }

  private dragTo(event: PointerEvent, from: Range): void {
    const spot = this.view.spotOf(document.elementFromPoint(event.clientX, event.clientY));
    if (!spot || spot.row < 0 || spot.column < 0) return;
    if (this.drag === "select") return this.goTo(spot, true);
    // Filling goes down or right, whichever is farther.
    const down = spot.row - from.bottom;
    const right = spot.column - from.right;
    this.view.range = down >= right
      ? { ...from, bottom: Math.max(from.bottom, spot.row) }
      : { ...from, right: Math.max(from.right, spot.column) };
    this.view.render();
  }

  private async fillFrom(from: Range): Promise<void> {
    const range = this.range;
    const texts = await this.textsOf(from);
    await this.change(range, (_, i, j) =>
      i < height(from) && j < width(from) ? null : texts[i % height(from)]![j % width(from)]!);
  }

  private startResize(event: PointerEvent, spot: Spot): void {
    event.preventDefault();
    const column = this.columns()[spot.column]!;
    const start = this.widths.of(column);
    const move = (moved: PointerEvent) => {
      this.widths.choose(column.name, start + moved.clientX - event.clientX);
      this.view.measure();
    };
    const end = () => document.removeEventListener("pointermove", move);
    document.addEventListener("pointermove", move);
    document.addEventListener("pointerup", end, { once: true });
  }

  private doubleClick(event: MouseEvent): void {
    const target = event.target as Element;
    const spot = this.view.spotOf(target);
    if (!spot) return;
    if (target.closest(".resizer")) this.resizeColumn(spot.column, null);
    else if (spot.row >= 0 && spot.column >= 0) this.startEdit(undefined, "edit");
  }

  private contextMenu(event: MouseEvent): void {
    if (this.editor.isOpen) return;
    event.preventDefault();
    this.handlers.menu(this.active, this.range, new DOMRect(event.clientX, event.clientY, 0, 0));
  }

  private openMenu(): true {
    const element = this.view.at(this.active);
    if (element) this.handlers.menu(this.active, this.range, element.getBoundingClientRect());
    return true;
  }

  private clipboard(event: ClipboardEvent, action: () => void): void {
    if (this.editor.isOpen || !this.holdsFocus()) return;
    event.preventDefault();
    action();
  }

  private onCopy(event: ClipboardEvent): void {
    const range = this.cellRange();
    const columns = this.columns().slice(range.left, range.right + 1);
    const texts = Array.from({ length: height(range) }, (_, i) =>
      columns.map((column) => this.session.cell(range.top + i, column)?.text));
    if (texts.every((row) => row.every((text) => text !== undefined))) {
      event.clipboardData?.setData("text/plain", writeBlock(texts as string[][]));
    } else {
      this.attempt(this.copy());
    }
    this.handlers.announce(isSingle(range) ? "Copied" : `Copied ${count(height(range), "row")} of ${count(width(range), "column")}`);
  }

  private onCut(event: ClipboardEvent): void {
    this.onCopy(event);
    this.attempt(this.clear());
  }

  private onPaste(event: ClipboardEvent): void {
    const text = event.clipboardData?.getData("text/plain") ?? "";
    if (text !== "") this.attempt(this.paste(text));
  }
}

export const count = (n: number, what: string) => `${n} ${what}${n === 1 ? "" : "s"}`;
