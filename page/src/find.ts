// The bar in which a text is looked for.
import { el, icon } from "./dom";
import { icons } from "./icons";
import type { App } from "./state";

export class FindBar {
  readonly element = el("div", { class: "find-bar", hidden: true, attrs: { role: "search" } });
  private readonly field = el("input", { type: "search", placeholder: "Find in this form", attrs: { "aria-label": "Find" } });

  constructor(private readonly app: App, private readonly closed: () => void) {
    const button = (label: string, path: string, run: () => void) =>
      el("button", { class: "plain", type: "button", title: label, attrs: { "aria-label": label }, on: { click: run } }, icon(path));
    this.element.append(
      this.field,
      button("Previous (Shift+F3)", icons.up, () => void this.next(true)),
      button("Next (F3)", icons.down, () => void this.next(false)),
      button("Close", icons.close, () => this.close()),
    );
    this.field.addEventListener("keydown", (event) => this.keyDown(event));
  }

  open(): void {
    this.element.hidden = false;
    this.field.focus();
    this.field.select();
  }

  async next(backwards: boolean): Promise<void> {
    const form = this.app.structure?.form;
    const text = this.field.value;
    if (!form) return;
    if (text === "") return this.open();
    const found = await this.app.run(() => this.app.api.find(form, text, { ...this.from(), backwards }));
    if (found?.cell) await this.app.select(found.cell);
    if (found) this.app.announce(found.cell ? `Found in ${found.cell}` : `"${text}" is nowhere in this form`);
  }

  private from(): { table?: string; column?: string; row?: number } {
    const { selection, table } = this.app;
    if (selection) return { table: selection.table, column: selection.column, row: selection.index };
    return table ? { table: table.name } : {};
  }

  private keyDown(event: KeyboardEvent): void {
    if (event.isComposing) return;
    if (event.key === "Enter") void this.next(event.shiftKey);
    else if (event.key === "Escape") this.close();
    else return;
    event.preventDefault();
    event.stopPropagation();
  }

  private close(): void {
    this.element.hidden = true;
    this.closed();
  }
}
