// The grid's elements: only the rows and columns that can be seen are there, and the active cell,
// which may have the focus.
import { defaultRangeExtractor, observeElementRect, Virtualizer } from "@tanstack/virtual-core";
import type { Column } from "../api";
import { el, icon, setAttribute } from "../dom";
import { icons } from "../icons";
import type { Session, ShownCell } from "../session";
import { describeColumn, errorPrefix, unitOrType } from "./header";
import { contains, type Range, type Spot } from "./range";
import type { ColumnWidths } from "./widths";

// Browsers cut elements off at 17 to 33 million pixels: more rows than that share the height.
const tallest = 15_000_000;
const rowOverscan = 14;
const columnOverscan = 3;

type Axis = Virtualizer<HTMLElement, HTMLElement>;

interface RowView {
  element: HTMLElement;
  header: CellView;
  cells: Map<number, CellView>;
}

// A cell's element, touched only where it differs from what is to be shown.
class CellView {
  private text = "";
  private readonly attributes = new Map<string, string | number | boolean | null>();

  constructor(readonly element: HTMLElement) {}

  setText(text: string): void {
    if (text === this.text) return;
    this.text = text;
    const first = this.element.firstChild;
    if (first instanceof Text) first.data = text;
    else this.element.prepend(text);
  }

  set(name: string, value: string | number | boolean | null): void {
    if (this.attributes.get(name) === value) return;
    this.attributes.set(name, value);
    setAttribute(this.element, name, value);
  }

  place(left: number, width: number): void {
    if (this.left !== left) this.element.style.left = `${(this.left = left)}px`;
    if (this.width !== width) this.element.style.width = `${(this.width = width)}px`;
  }
  private left = -1;
  private width = -1;
}

export class GridView {
  readonly element = el("div", { class: "grid", attrs: { role: "grid", "aria-multiselectable": true, "aria-description": "Escape and then Tab leaves the table" } });
  active: Spot = { row: 0, column: 0 };
  // The cell in which the editor stands.
  editing: Spot | null = null;
  range: Range = { top: 0, left: 0, bottom: 0, right: 0 };
  readonly rowHeight: number;
  rowHeaderWidth = 48;
  private readonly headRow = el("div", { class: "row", attrs: { role: "row", "aria-rowindex": 1 } });
  private readonly head = el("div", { class: "head", attrs: { role: "rowgroup" } }, this.headRow);
  private readonly body = el("div", { class: "body", attrs: { role: "rowgroup" } });
  private readonly handle = el("div", { class: "fill-handle", attrs: { "aria-hidden": true } });
  private readonly rows: Axis;
  private readonly columns: Axis;
  private readonly shown = new Map<number, RowView>();
  private readonly spare: RowView[] = [];
  private readonly headers = new Map<number, HTMLElement>();
  private scrolled: (() => void)[] = [];

  constructor(private readonly session: Session, private readonly widths: ColumnWidths) {
    const rem = parseFloat(getComputedStyle(document.documentElement).fontSize);
    this.rowHeight = Math.round(rem * 1.9);
    this.element.style.setProperty("--row-height", `${this.rowHeight}px`);
    this.element.append(this.head, this.body);
    this.rows = this.axis(false);
    this.columns = this.axis(true);
  }

  // To be called once the element stands in the page.
  start(): void {
    for (const axis of [this.rows, this.columns]) {
      axis._didMount();
      axis._willUpdate();
    }
  }

  // Another table, or other columns.
  layout(): void {
    for (const view of [...this.shown.values(), ...this.spare]) view.element.remove();
    this.shown.clear();
    this.spare.length = 0;
    for (const header of this.headers.values()) header.remove();
    this.headers.clear();
    const table = this.session.table;
    this.element.setAttribute("aria-label", table ? table.name : "no table");
    this.element.setAttribute("aria-colcount", String(this.columnList().length + 1));
    this.measure();
  }

  // Other widths.
  measure(): void {
    this.resize(this.columns, this.columnList().length);
    this.columns.measure();
    this.renderHead(true);
    this.render();
  }

  render(): void {
    this.resize(this.rows, this.session.rowCount() + 1);
    if (!this.session.table) return this.element.replaceChildren();
    if (!this.body.isConnected) this.element.append(this.head, this.body);
    this.element.setAttribute("aria-rowcount", String(this.session.rowCount() + 2));
    this.body.style.height = `${Math.min(this.total(), tallest)}px`;
    this.body.style.width = `${this.rowHeaderWidth + this.columns.getTotalSize()}px`;
    this.renderHead();
    this.renderRows();
    this.renderHandle();
  }

  // The element of a cell or header (row or column -1), when it is there.
  at(spot: Spot): HTMLElement | undefined {
    if (spot.row < 0) return this.headers.get(spot.column);
    const view = this.shown.get(spot.row);
    return spot.column < 0 ? view?.header.element : view?.cells.get(spot.column)?.element;
  }

  // The place of a cell or header that an element belongs to.
  spotOf(target: EventTarget | null): Spot | null {
    const cell = target instanceof Element ? target.closest<HTMLElement>("[data-column]") : null;
    if (!cell || !this.element.contains(cell)) return null;
    return { row: Number(cell.dataset.row), column: Number(cell.dataset.column) };
  }

  // Scrolls as little as needed for a cell to be seen whole.
  reveal(spot: Spot): void {
    if (spot.row >= 0) this.revealRow(spot.row);
    if (spot.column >= 0) this.revealColumn(spot.column);
    for (const told of this.scrolled) told();
    this.render();
  }

  // How many rows are on the screen.
  page(): number {
    return Math.max(1, Math.floor(this.viewHeight() / this.rowHeight) - 1);
  }

  // Of typed cells, the widest.
  font(): string {
    const { fontSize, fontFamily } = getComputedStyle(this.body);
    return `600 ${fontSize} ${fontFamily}`;
  }

  private columnList(): Column[] {
    return this.session.table?.columns ?? [];
  }

  private axis(horizontal: boolean): Axis {
    return new Virtualizer<HTMLElement, HTMLElement>({
      count: 0,
      horizontal,
      overscan: horizontal ? columnOverscan : rowOverscan,
      getScrollElement: () => this.element,
      estimateSize: (index) => (horizontal ? this.columnWidth(index) : this.rowHeight),
      observeElementRect,
      observeElementOffset: (_, told) => this.observe(horizontal, told),
      scrollToFn: () => undefined,
      rangeExtractor: (range) => {
        const active = horizontal ? this.active.column : this.active.row;
        const seen = defaultRangeExtractor(range);
        return active < 0 || active >= range.count || seen.includes(active) ? seen : [...seen, active];
      },
      onChange: () => this.render(),
    });
  }

  private observe(horizontal: boolean, told: (offset: number, scrolling: boolean) => void): () => void {
    const tell = () => told(horizontal ? this.element.scrollLeft : this.offset(), false);
    const scroll = () => {
      tell();
      if (!horizontal) this.render();
    };
    this.scrolled.push(tell);
    this.element.addEventListener("scroll", scroll, { passive: true });
    tell();
    return () => this.element.removeEventListener("scroll", scroll);
  }

  private resize(axis: Axis, count: number): void {
    if (axis.options.count === count) return;
    axis.setOptions({ ...axis.options, count });
    axis._willUpdate();
  }

  private columnWidth(index: number): number {
    const column = this.columnList()[index];
    return column ? this.widths.of(column) : 96;
  }

  private total(): number {
    return (this.session.rowCount() + 1) * this.rowHeight;
  }

  private viewHeight(): number {
    return this.element.clientHeight - this.head.offsetHeight;
  }

  // How many pixels of rows one pixel of scrolling passes.
  private scale(): number {
    const view = this.viewHeight();
    return this.total() <= tallest ? 1 : (this.total() - view) / (tallest - view);
  }

  private offset(): number {
    return this.element.scrollTop * this.scale();
  }

  private revealRow(row: number): void {
    const top = row * this.rowHeight;
    const lowest = top + this.rowHeight - this.viewHeight();
    const offset = this.offset();
    if (top < offset) this.element.scrollTop = top / this.scale();
    else if (lowest > offset) this.element.scrollTop = Math.ceil(lowest / this.scale());
  }

  private revealColumn(column: number): void {
    const left = this.columnLeft(column);
    const rightmost = left + this.columnWidth(column) - (this.element.clientWidth - this.rowHeaderWidth);
    if (left < this.element.scrollLeft) this.element.scrollLeft = left;
    else if (rightmost > this.element.scrollLeft) this.element.scrollLeft = Math.min(rightmost, left);
  }

  private columnLeft(column: number): number {
    let left = 0;
    for (let i = 0; i < column; ++i) left += this.columnWidth(i);
    return left;
  }

  private renderHead(anew = false): void {
    const items = this.columns.getVirtualItems();
    this.headRow.style.width = `${this.rowHeaderWidth + this.columns.getTotalSize()}px`;
    if (!this.headers.has(-1)) this.headers.set(-1, this.headRow.appendChild(this.corner()));
    this.headers.get(-1)!.style.width = `${this.rowHeaderWidth}px`;
    const seen = new Set(items.map((item) => item.index).concat(-1));
    for (const [index, header] of this.headers) {
      if (!seen.has(index)) this.headers.delete(index), header.remove();
    }
    for (const item of items) {
      const known = this.headers.get(item.index);
      const header = known ?? this.headRow.appendChild(this.columnHeader(item.index));
      this.headers.set(item.index, header);
      if (known && !anew) continue;
      header.style.left = `${this.rowHeaderWidth + item.start}px`;
      header.style.width = `${item.size}px`;
    }
    for (const [index, header] of this.headers) this.markHeader(header, index);
  }

  private markHeader(header: HTMLElement, index: number): void {
    const active = this.active.row === -1 && this.active.column === index;
    setAttribute(header, "tabindex", active ? 0 : -1);
    header.classList.toggle("in-range", index >= this.range.left && index <= this.range.right);
  }

  private corner(): HTMLElement {
    const label = el("span", { class: "unseen" }, "row");
    const attrs = { role: "columnheader", "aria-colindex": 1, "data-row": -1, "data-column": -1 };
    return el("div", { class: "header corner", attrs }, label);
  }

  private columnHeader(index: number): HTMLElement {
    const column = this.columnList()[index]!;
    const attrs = {
      role: "columnheader",
      "aria-colindex": index + 2,
      "aria-label": column.name,
      "aria-description": describeColumn(column),
      "data-row": -1,
      "data-column": index,
    };
    const title = column.formula ? `${column.name} = ${column.formula}` : column.name;
    const mark = column.formula ? el("span", { class: "formula-mark" }, "ƒ") : null;
    const menu = el(
      "button",
      { class: "header-menu", type: "button", tabIndex: -1, attrs: { "aria-label": `Column ${column.name}`, "aria-haspopup": "menu" } },
      icon(icons.down),
    );
    return el(
      "div",
      { class: `header${column.formula ? " with-formula" : ""}${alignment(column)}`, title, attrs },
      el("span", { class: "name" }, mark, column.name),
      el("span", { class: "unit" }, unitOrType(column)),
      menu,
      el("div", { class: "resizer", attrs: { "aria-hidden": true } }),
    );
  }

  private renderRows(): void {
    const items = this.rows.getVirtualItems();
    const columns = this.columns.getVirtualItems();
    const shift = this.element.scrollTop * (this.scale() - 1);
    const seen = new Set(items.map((item) => item.index));
    for (const [index, view] of this.shown) {
      if (!seen.has(index)) this.shown.delete(index), this.retire(view);
    }
    for (const item of items) {
      const view = this.shown.get(item.index) ?? this.newRow(item.index);
      view.element.style.transform = `translateY(${item.start - shift}px)`;
      this.renderRow(view, item.index, columns);
    }
    while (this.spare.length > 2 * rowOverscan) this.spare.pop()!.element.remove();
    if (items.length > 0) this.session.cache?.want(items[0]!.index, lastInSight(items));
  }

  private newRow(index: number): RowView {
    const view = this.spare.pop() ?? this.makeRow();
    if (!view.element.isConnected) this.body.append(view.element);
    view.element.hidden = false;
    view.element.setAttribute("aria-rowindex", String(index + 2));
    this.shown.set(index, view);
    return view;
  }

  private makeRow(): RowView {
    const header = el("div", { class: "row-header", attrs: { role: "rowheader", "aria-colindex": 1, "data-column": -1 } });
    return {
      element: el("div", { class: "row", attrs: { role: "row" } }, header),
      header: new CellView(header),
      cells: new Map(),
    };
  }

  private retire(view: RowView): void {
    view.element.hidden = true;
    this.spare.push(view);
  }

  private renderRow(view: RowView, row: number, columns: { index: number; start: number; size: number }[]): void {
    this.renderRowHeader(view.header, row);
    for (const item of columns) {
      const cell = view.cells.get(item.index) ?? this.newCell(view, item.index);
      cell.place(this.rowHeaderWidth + item.start, item.size);
      this.renderCell(cell, row, item.index);
    }
    if (view.cells.size > columns.length) this.dropColumns(view, columns);
  }

  private dropColumns(view: RowView, columns: { index: number }[]): void {
    const seen = new Set(columns.map((item) => item.index));
    for (const [index, cell] of view.cells) {
      if (!seen.has(index)) view.cells.delete(index), cell.element.remove();
    }
  }

  private newCell(view: RowView, column: number): CellView {
    const attrs = { role: "gridcell", "aria-colindex": column + 2, "data-column": column };
    const cell = new CellView(el("div", { attrs }));
    view.cells.set(column, cell);
    view.element.append(cell.element);
    return cell;
  }

  private renderRowHeader(header: CellView, row: number): void {
    const blank = row >= this.session.rowCount();
    const id = this.session.rowId(row);
    const active = this.active.row === row && this.active.column === -1;
    header.setText(blank ? "+" : (id ?? "…"));
    header.set("title", blank ? "type here to add a row" : (id ?? null));
    header.set("aria-label", blank ? "new row" : null);
    header.set("data-row", row);
    header.set("tabindex", active ? 0 : -1);
    header.set("class", `row-header${row >= this.range.top && row <= this.range.bottom ? " in-range" : ""}`);
    header.element.style.width = `${this.rowHeaderWidth}px`;
  }

  private renderCell(view: CellView, row: number, index: number): void {
    const column = this.columnList()[index]!;
    const cell = this.session.cell(row, column);
    const active = this.active.row === row && this.active.column === index;
    const selected = contains(this.range, row, index);
    view.setText(cell?.text ?? "");
    view.set("data-row", row);
    view.set("data-address", this.session.address(row, column.name));
    view.set("title", cell && cell.text.length > 12 ? cell.text : null);
    view.set("tabindex", active ? 0 : -1);
    view.set("aria-selected", selected);
    view.set("aria-description", describeCell(cell, column));
    const editing = this.editing?.row === row && this.editing.column === index;
    const more = `${selected ? " selected" : ""}${active ? " active" : ""}${editing ? " editing" : ""}`;
    view.set("class", `cell ${classesOf(cell, column)}${more}`);
  }

  private renderHandle(): void {
    const { bottom, right } = this.range;
    const column = this.columns.getVirtualItems().find((item) => item.index === right);
    this.handle.hidden = !column || !this.shown.has(bottom) || this.active.row < 0 || this.active.column < 0;
    if (!column || this.handle.hidden) return;
    const shift = this.element.scrollTop * (this.scale() - 1);
    const x = this.rowHeaderWidth + column.start + column.size;
    this.handle.style.transform = `translate(${x}px, ${(bottom + 1) * this.rowHeight - shift}px)`;
    if (!this.handle.isConnected) this.body.append(this.handle);
  }
}

// The active row may stand far behind those on the screen.
function lastInSight(items: { index: number }[]): number {
  const last = items[items.length - 1]!.index;
  const before = items[items.length - 2]?.index ?? last;
  return items.length > 1 && last !== before + 1 ? before : last;
}

const alignment = (column: Column) => (column.type === "number" || column.type === "date" ? " right" : "");

export function kindOf(cell: Pick<ShownCell, "text" | "state">): "typed" | "computed" | "noted" | "empty" | "error" {
  if (cell.text === "") return "empty";
  if (cell.text.startsWith(errorPrefix)) return "error";
  if (cell.state === "entered") return "typed";
  return cell.state === "noted" ? "noted" : "computed";
}

function classesOf(cell: ShownCell | undefined, column: Column): string {
  if (!cell) return "loading";
  const kind = kindOf(cell);
  const more = [
    kind !== "error" && alignment(column) && "right",
    column.formula !== null && "of-formula",
    cell.unsent && "unsent",
    cell.stale && "stale",
    cell.conflict && "conflict",
  ];
  return [kind, ...more.filter(Boolean)].join(" ");
}

const kindNames = { typed: "typed", computed: "computed", noted: "note", empty: null, error: "error" };

function describeCell(cell: ShownCell | undefined, column: Column): string | null {
  if (!cell) return "loading";
  const kind = kindOf(cell);
  const parts = [
    kind === "typed" && column.formula !== null ? "typed over the formula" : kindNames[kind],
    cell.unsent && "not sent yet",
    cell.stale && "not computed anew yet",
    cell.conflict && "conflict: somebody else changed it",
  ];
  return parts.filter(Boolean).join(", ") || null;
}
