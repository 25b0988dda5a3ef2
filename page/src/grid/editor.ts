// The field in which a cell's text is typed.
import { el } from "../dom";

export interface Leaving {
  rows: number;
  columns: number;
}

// enter: what is typed replaces the text, and arrows leave. edit: the text is changed, and arrows
// move within it.
type Mode = "enter" | "edit";

export interface EditorHandlers {
  // `leaving` says where to go from the cell; null stays. `touched` is false when nothing was typed,
  // `blurred` true when the focus went elsewhere in the page.
  commit(text: string, leaving: Leaving | null, touched: boolean, blurred: boolean): void;
  cancel(): void;
}

const leavingKeys: Record<string, Leaving> = {
  Enter: { rows: 1, columns: 0 },
  "Shift+Enter": { rows: -1, columns: 0 },
  Tab: { rows: 0, columns: 1 },
  "Shift+Tab": { rows: 0, columns: -1 },
};

const arrows: Record<string, Leaving> = {
  ArrowUp: { rows: -1, columns: 0 },
  ArrowDown: { rows: 1, columns: 0 },
  ArrowLeft: { rows: 0, columns: -1 },
  ArrowRight: { rows: 0, columns: 1 },
};

export class CellEditor {
  private readonly field = el("textarea", { class: "cell-editor", rows: 1, spellcheck: false });
  private mode: Mode = "edit";
  private touched = false;
  private open = false;
  private moving = false;

  constructor(private readonly handlers: EditorHandlers) {
    this.field.addEventListener("keydown", (event) => this.keyDown(event));
    this.field.addEventListener("input", () => this.input());
    this.field.addEventListener("blur", () => this.blur());
    for (const name of ["copy", "cut", "paste", "dblclick", "pointerdown"] as const) {
      this.field.addEventListener(name, (event) => event.stopPropagation());
    }
  }

  get isOpen(): boolean {
    return this.open;
  }

  // Opens in a cell. A key that is being pressed adds its character.
  start(cell: HTMLElement, label: string, text: string, mode: Mode): void {
    this.open = true;
    this.mode = mode;
    this.touched = mode === "enter";
    this.field.value = text;
    this.field.setAttribute("aria-label", label);
    cell.append(this.field);
    this.fit();
    this.field.focus({ preventScroll: true });
    this.field.setSelectionRange(text.length, text.length);
  }

  // The text counts as typed.
  touch(): void {
    this.touched = true;
  }

  // As if Enter were pressed, without going anywhere.
  commit(leaving: Leaving | null = null, blurred = false): void {
    if (!this.open) return;
    const text = this.field.value;
    this.close();
    this.handlers.commit(text, leaving, this.touched, blurred);
  }

  cancel(): void {
    this.close();
    this.handlers.cancel();
  }

  // Closes and gives what was typed; null for nothing.
  abandon(): string | null {
    this.close();
    return this.touched ? this.field.value : null;
  }

  // While cells are made anew; `change` gives the element of the edited one, in which typing goes on.
  along(change: () => HTMLElement | undefined): void {
    this.moving = true;
    const cell = change();
    if (this.open && cell) this.settle(cell);
    this.moving = false;
  }

  private settle(cell: HTMLElement): void {
    if (this.field.parentElement === cell && cell.isConnected) return;
    const { selectionStart, selectionEnd } = this.field;
    cell.append(this.field);
    this.fit();
    this.field.focus({ preventScroll: true });
    this.field.setSelectionRange(selectionStart, selectionEnd);
  }

  private close(): void {
    this.open = false;
    this.field.remove();
  }

  private keyDown(event: KeyboardEvent): void {
    event.stopPropagation();
    if (event.isComposing || event.keyCode === 229) return;
    const name = (event.shiftKey ? "Shift+" : "") + event.key;
    if (event.key === "Enter" && event.altKey) return this.take(event, () => this.insert("\n"));
    if (event.key === "Escape") return this.take(event, () => this.cancel());
    if (event.key === "F2") return this.take(event, () => (this.mode = this.mode === "edit" ? "enter" : "edit"));
    const leaving = leavingKeys[name] ?? (this.mode === "enter" ? arrows[name] : undefined);
    if (leaving) this.take(event, () => this.commit(leaving));
  }

  private take(event: Event, action: () => void): void {
    event.preventDefault();
    action();
  }

  private insert(text: string): void {
    this.field.setRangeText(text, this.field.selectionStart, this.field.selectionEnd, "end");
    this.input();
  }

  private input(): void {
    this.touched = true;
    this.fit();
  }

  // Focus elsewhere in the page means done; another window does not.
  private blur(): void {
    if (this.open && !this.moving && document.hasFocus()) this.commit(null, true);
  }

  private fit(): void {
    const style = this.field.style;
    style.width = "0";
    style.height = "0";
    style.width = `${this.field.scrollWidth + 4}px`;
    style.height = `${this.field.scrollHeight}px`;
  }
}
