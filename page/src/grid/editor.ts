// The field in which a cell's text is typed.
import { el } from "../dom";

export interface Leaving {
  rows: number;
  columns: number;
}

// enter: what is typed replaces the text, and arrows leave. edit: the text is changed, and arrows
// move within it.
type Mode = "enter" | "edit";

export interface Suspended {
  text: string;
  mode: Mode;
  touched: boolean;
  selectionStart: number;
  selectionEnd: number;
}

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

  // Takes it away without an end of the edit, to be gone on with elsewhere; null when it is closed.
  suspend(): Suspended | null {
    if (!this.open) return null;
    const { value: text, selectionStart, selectionEnd } = this.field;
    const { mode, touched } = this;
    this.close();
    return { text, mode, touched, selectionStart, selectionEnd };
  }

  resume(cell: HTMLElement, label: string, edit: Suspended): void {
    this.start(cell, label, edit.text, edit.mode);
    this.touched = edit.touched;
    this.field.setSelectionRange(edit.selectionStart, edit.selectionEnd);
  }

  cancel(): void {
    this.close();
    this.handlers.cancel();
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
    if (this.open && document.hasFocus()) this.commit(null, true);
  }

  private fit(): void {
    const style = this.field.style;
    style.width = "0";
    style.height = "0";
    style.width = `${this.field.scrollWidth + 4}px`;
    style.height = `${this.field.scrollHeight}px`;
  }
}
