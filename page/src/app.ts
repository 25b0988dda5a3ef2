// The page around the grid.
import { addressOf, ApiError, type Change, type ChangeAnswer, type Problem } from "./api";
import { el, icon } from "./dom";
import { FindBar } from "./find";
import { openFile, print, saveNotebook, saveTable } from "./files";
import { clipboard } from "./grid/clipboard";
import { count, Grid } from "./grid/grid";
import type { Range, Spot } from "./grid/range";
import { icons } from "./icons";
import { openMenu, type MenuItems } from "./menu";
import { Messages } from "./messages";
import { Session } from "./session";
import { editSettings, localeMayBeUsed, showKeys } from "./settings_dialog";
import { applyTheme, keepLocale, personsLocale, theme } from "./settings";
import { SidePanel } from "./side_panel";
import type { App, AppEvent } from "./state";
import { StructureEdits } from "./structure_edits";
import { forEachText, nameOf, type CellPlace, type Conflict, type Edit, type QueueState } from "./sync/queue";

const lastPlaceKey = "ktnotebook.place";

export async function startApp(body: HTMLElement): Promise<void> {
  applyTheme(theme());
  const page = new Page(body);
  await page.start();
}

class Page implements App {
  private readonly messages = new Messages(() => this.focusContent(), () => void this.showNextProblem());
  private readonly session: Session;
  private readonly grid: Grid;
  private readonly edits: StructureEdits;
  private readonly side: SidePanel;
  private readonly findBar: FindBar;
  private readonly tabs = el("div", { class: "tabs", attrs: { role: "tablist", "aria-label": "Tables" } });
  private readonly fields = el("dl", { class: "fields" });
  private readonly formList = el("select", { class: "form-list", attrs: { "aria-label": "Form" } });
  private readonly where = el("span", { class: "where" });
  private readonly bar = el("div", { class: "formula-bar", attrs: { role: "group", "aria-label": "Selected cell" } });
  private readonly main = el("main", { class: "workspace" });
  private readonly empty = el("div", { class: "empty-note" });
  private readonly history: Record<"undo" | "redo", HTMLButtonElement>;
  private checkTimer: ReturnType<typeof setTimeout> | undefined;
  private checkCost = 0;
  private stopLocked: (() => void) | null = null;
  private savingTimer: ReturnType<typeof setTimeout> | undefined;

  constructor(private readonly body: HTMLElement) {
    this.session = new Session({
      announce: (text) => this.announce(text),
      alert: (text) => this.alert(text),
      refused: (edit, error) => this.refused(edit, error),
      conflict: (conflict) => this.showConflict(conflict),
    }, sessionStorage);
    this.session.api.locale = personsLocale();
    this.grid = new Grid(this.session, {
      announce: (text) => this.announce(text),
      alert: (text) => this.alert(text),
      menu: (spot, range, anchor) => this.openGridMenu(spot, range, anchor),
      stranded: (cell, text) => this.stranded(cell, text),
    });
    this.edits = new StructureEdits(this, this.session);
    this.side = new SidePanel(this, () => this.grid.focus());
    this.findBar = new FindBar(this, () => this.grid.focus());
    this.history = {
      undo: this.tool("Undo", icons.undo, () => this.undo("undo"), "Ctrl+Z"),
      redo: this.tool("Redo", icons.redo, () => this.undo("redo"), "Ctrl+Y"),
    };
  }

  get api() {
    return this.session.api;
  }
  get selection() {
    return this.session.selection;
  }
  get structure() {
    return this.session.structure;
  }
  get table() {
    return this.session.table;
  }

  async start(): Promise<void> {
    this.build();
    this.grid.start();
    this.session.on("structure", () => this.showStructure());
    this.session.on("forms", () => this.showForms());
    this.session.on("selection", () => this.showSelection());
    this.session.on("changed", () => (this.showSelection(), this.checkSoon()));
    this.session.on("edits", () => this.showSaving());
    this.session.on("history", () => this.showHistory());
    document.addEventListener("keydown", (event) => this.keyDown(event));
    this.session.start();
    this.side.restore();
    await this.openFirst();
  }

  on(event: AppEvent, listener: () => void): () => void {
    return this.session.on(event, listener);
  }

  async select(address: string): Promise<void> {
    const place = await this.api.place(address);
    if (place.form !== this.structure?.form) await this.session.open(place.form, place.table ?? undefined);
    else if (place.table) this.session.show(place.table);
    const columns = this.table?.columns ?? [];
    const column = columns.findIndex((each) => each.name === place.column);
    const { row } = this.grid.active;
    this.grid.goTo({ row: place.index ?? Math.max(0, row), column: Math.max(0, column) });
    await this.rowCame(place.index);
    this.grid.focus();
  }

  async run<T>(change: () => Promise<T>): Promise<T | undefined> {
    try {
      await this.session.queue.drained();
      const answer = await change();
      if (isChange(answer)) this.applied(answer);
      return answer;
    } catch (error) {
      this.alert(error instanceof Error ? sentence(error.message) : String(error));
      return undefined;
    }
  }

  applied(change: Change | ChangeAnswer): void {
    this.session.applied(change);
  }

  announce(text: string): void {
    this.messages.announce(text);
  }

  alert(text: string): void {
    this.messages.alert(text);
  }

  openPanel(id: string): void {
    this.side.open(id);
  }

  closePanel(id: string): void {
    this.side.close(id);
  }

  private async openFirst(): Promise<void> {
    try {
      await this.session.refreshForms();
      const last = lastPlace();
      const form = this.session.forms.includes(last.form) ? last.form : this.session.forms[0];
      if (form !== undefined) await this.session.open(form, last.table);
      else this.showStructure();
      for (const conflict of this.session.queue.conflicts) this.showConflict(conflict);
      this.focusContent();
    } catch (error) {
      if (await localeMayBeUsed(this.api, error)) return this.openFirst();
      this.alert(error instanceof ApiError && error.status === 401 ? locked : sentence(String((error as Error).message)));
      setTimeout(() => void this.openFirst(), 2000);
    }
  }

  private build(): void {
    const top = el(
      "div",
      { class: "top" },
      el("h1", {}, this.formList),
      this.tool("New form", icons.plus, () => void this.edits.addForm()),
      this.menuButton("File", icons.file, () => this.fileItems()),
      this.where,
      el("span", { class: "gap" }),
      this.menuButton("Settings", icons.settings, () => this.settingItems()),
    );
    const tableMenu = this.menuButton("Table", icons.table, () => this.tableItems());
    const toolbar = el(
      "div",
      { class: "tools", attrs: { role: "toolbar", "aria-label": "Tools" } },
      this.history.undo,
      this.history.redo,
      this.tool("Find", icons.find, () => this.findBar.open(), "Ctrl+F"),
      el("span", { class: "line" }),
      this.tool("Row", icons.row, () => this.inTable(() => this.edits.addRows(1)), undefined, "Add a row"),
      this.tool("Column", icons.column, () => this.inTable(() => this.edits.addColumn()), undefined, "Add a column"),
      tableMenu,
      el("span", { class: "line" }),
      ...this.side.buttons((label, id, path) => this.tool(label, path, () => this.side.open(id))),
    );
    this.main.append(this.grid.view.element, this.empty);
    const content = el("div", { class: "content" }, this.main, this.side.element);
    const header = el("header", {}, top, toolbar, this.tabs, this.fields, this.bar, this.findBar.element, this.messages.alerts);
    this.body.append(header, content, el("footer", {}, this.messages.status));
    this.formList.addEventListener("change", () => void this.openForm(this.formList.value));
  }

  private tool(label: string, path: string, run: () => void, keys?: string, description = label): HTMLButtonElement {
    const title = keys ? `${description} (${keys})` : description;
    return el("button", { class: "tool", type: "button", title, on: { click: run } }, icon(path), el("span", {}, label));
  }

  private menuButton(label: string, path: string, items: () => MenuItems): HTMLButtonElement {
    const button = this.tool(label, path, () => openMenu(button.getBoundingClientRect(), label, items()));
    button.setAttribute("aria-haspopup", "menu");
    return button;
  }

  private async openForm(form: string): Promise<void> {
    await this.session.open(form).catch((error: Error) => this.alert(sentence(error.message)));
    this.focusContent();
  }

  private fileItems(): MenuItems {
    const none = !this.structure;
    return [
      { label: "New form…", run: () => void this.edits.addForm() },
      { label: "Open file…", run: () => void openFile(this, this.session) },
      null,
      { label: "Save form as notebook file", disabled: none, run: () => saveNotebook(this) },
      { label: "Save table as CSV", disabled: !this.table, run: () => saveTable(this) },
      { label: "Print table…", keys: "Ctrl+P", disabled: !this.table, run: () => void print(this, this.session) },
      null,
      { label: "Rename form…", disabled: none, run: () => void this.edits.renameForm() },
      { label: "Remove form…", disabled: none, run: () => void this.edits.removeForm() },
    ];
  }

  private settingItems(): MenuItems {
    return [
      ...editSettings.themes(),
      null,
      ...editSettings.locales(this.api.locale, (locale) => this.useLocale(locale)),
      null,
      { label: "Keys…", run: () => void showKeys() },
      { label: "Texts put aside…", run: () => void editSettings.showAside(this.session.queue) },
    ];
  }

  private tableItems(): MenuItems {
    const none = !this.table;
    return [
      { label: "New table…", disabled: !this.structure, run: () => void this.edits.addTable() },
      { label: "Rename table…", disabled: none, run: () => void this.edits.renameTable() },
      { label: "Move table left", disabled: none, run: () => void this.edits.moveTable(-1) },
      { label: "Move table right", disabled: none, run: () => void this.edits.moveTable(1) },
      { label: "Remove table…", disabled: none, run: () => void this.edits.removeTable() },
    ];
  }

  private async useLocale(locale: string): Promise<void> {
    keepLocale(locale);
    this.api.locale = locale;
    await this.session.reload();
    this.grid.focus();
  }

  private openGridMenu(spot: Spot, range: Range, anchor: DOMRect): void {
    const cells = spot.row >= 0 && spot.column >= 0;
    const items: MenuItems = [
      ...(cells ? [...this.cellItems(), null] : []),
      ...(spot.column >= 0 ? this.columnItems(spot.column) : []),
      ...(cells ? [null] : []),
      ...(spot.row >= 0 ? this.rowItems(spot.row, range) : []),
    ];
    if (spot.row < 0 && spot.column < 0) items.push(...this.tableItems());
    openMenu(anchor, cells ? "Cell" : spot.row < 0 ? "Column" : "Row", items);
  }

  private cellItems(): MenuItems {
    return [
      { label: "Why?", run: () => this.openPanel("why") },
      { label: "Edit", keys: "F2", run: () => this.grid.edit() },
      { label: "Copy", keys: "Ctrl+C", run: () => void this.attempt(this.grid.copy()) },
      { label: "Paste", keys: "Ctrl+V", run: () => void this.attempt(this.pasteText()) },
      { label: "Clear", keys: "Delete", run: () => void this.attempt(this.grid.clear()) },
      { label: "Fill down", keys: "Ctrl+D", run: () => void this.attempt(this.grid.fill("down")) },
      { label: "Fill right", keys: "Ctrl+R", run: () => void this.attempt(this.grid.fill("right")) },
    ];
  }

  private columnItems(at: number): MenuItems {
    const column = this.table?.columns[at];
    if (!column) return [];
    const last = this.table!.columns.length - 1;
    return [
      { label: `Formula of ${column.name}`, run: () => this.openPanel("formula") },
      { label: "Rename column…", run: () => void this.edits.renameColumn(column) },
      { label: "Insert column before…", run: () => void this.edits.addColumn(at) },
      { label: "Insert column behind…", run: () => void this.edits.addColumn(at + 1) },
      { label: "Move column left", disabled: at === 0, run: () => void this.edits.moveColumn(column, -1) },
      { label: "Move column right", disabled: at === last, run: () => void this.edits.moveColumn(column, 1) },
      { label: "Fit width", run: () => this.grid.resizeColumn(at, null) },
      { label: "Remove column…", run: () => void this.edits.removeColumn(column) },
    ];
  }

  private rowItems(row: number, range: Range): MenuItems {
    const gone = row >= this.session.rowCount();
    const rows = Math.max(1, Math.min(range.bottom, this.session.rowCount() - 1) - range.top + 1);
    const what = count(rows, "row");
    return [
      { label: `Insert ${what} above`, run: () => void this.edits.addRows(rows, range.top) },
      { label: `Insert ${what} below`, run: () => void this.edits.addRows(rows, Math.min(range.bottom + 1, this.session.rowCount())) },
      { label: "Rename row…", disabled: gone, run: () => void this.edits.renameRow(row) },
      { label: "Move row up", disabled: gone || row === 0, run: () => void this.edits.moveRow(row, -1) },
      { label: "Move row down", disabled: gone || row + 1 === this.session.rowCount(), run: () => void this.edits.moveRow(row, 1) },
      { label: `Remove ${what}`, disabled: gone, run: () => void this.edits.removeRows(range) },
    ];
  }

  private async pasteText(): Promise<void> {
    await this.grid.paste(await clipboard().readText());
  }

  private async attempt(work: Promise<void>): Promise<void> {
    await work.catch((error: Error) => this.alert(sentence(error.message)));
  }

  private undo(which: "undo" | "redo"): void {
    const done = which === "undo" ? "Undone" : "Done again";
    const tell = (text: string | null) => this.announce(text === null ? `Nothing to ${which}` : `${done}: ${text}`);
    void this.attempt(this.session.history(which).then(tell));
  }

  private keyDown(event: KeyboardEvent): void {
    const plain = event.key.length === 1 ? event.key.toLowerCase() : event.key;
    const name = (event.ctrlKey || event.metaKey ? "Ctrl+" : "") + (event.shiftKey ? "Shift+" : "") + plain;
    const inText = event.target instanceof Element && event.target.closest("input, textarea, .cm-editor, dialog") !== null;
    const action = inText ? this.keysAnywhere()[name] : (this.keysAnywhere()[name] ?? this.keysOutsideText()[name]);
    if (!action || event.defaultPrevented) return;
    event.preventDefault();
    action();
  }

  private keysAnywhere = (): Record<string, () => void> => ({
    "Ctrl+f": () => this.findBar.open(),
    F3: () => void this.findBar.next(false),
    "Shift+F3": () => void this.findBar.next(true),
    F6: () => this.nextRegion(1),
    "Shift+F6": () => this.nextRegion(-1),
    "Ctrl+p": () => void print(this, this.session),
  });

  private keysOutsideText = (): Record<string, () => void> => ({
    "Ctrl+z": () => this.undo("undo"),
    "Ctrl+y": () => this.undo("redo"),
    "Ctrl+Shift+z": () => this.undo("redo"),
  });

  // F6 goes from part to part: tools, tables, grid, panel.
  private nextRegion(step: 1 | -1): void {
    const parts = [...this.body.querySelectorAll<HTMLElement>(".top, .tools, .tabs, .grid, .side, .alerts")];
    const regions = parts.filter((part) => focusable(part));
    const at = regions.findIndex((region) => region.contains(document.activeElement));
    const next = regions[(at + step + regions.length) % regions.length];
    if (next === this.grid.view.element) this.grid.focus();
    else if (next) focusable(next)?.focus();
  }

  private showForms(): void {
    const form = this.structure?.form;
    this.formList.replaceChildren(...this.session.forms.map((name) => el("option", { value: name, selected: name === form }, name)));
  }

  private showStructure(): void {
    const { structure, table } = this;
    document.title = structure ? `${structure.form} – Notebook` : "Notebook";
    this.where.textContent = structure?.where ?? "";
    this.showForms();
    this.tabs.replaceChildren(...this.session.tables().map((each) => this.tab(each.name)));
    this.fields.replaceChildren(...this.session.texts().flatMap((field) => [el("dt", {}, field.name), el("dd", { title: field.text }, field.text)]));
    this.fields.hidden = this.session.texts().length === 0;
    this.showEmpty();
    this.showHistory();
    this.showSelection();
    this.checkSoon();
    // The cell or header that had the focus was made anew.
    if (document.activeElement === document.body) this.focusContent();
    if (structure) localStorage.setItem(lastPlaceKey, JSON.stringify({ form: structure.form, table: table?.name }));
  }

  // Where there is nothing to type in yet, what to do first.
  private showEmpty(): void {
    const columns = this.table?.columns.length ?? 0;
    const [advice, steps] = this.firstSteps();
    const held = this.empty.contains(document.activeElement);
    const buttons = steps.map(([label, run]) => el("button", { type: "button", on: { click: () => void run() } }, label));
    this.empty.replaceChildren(el("p", {}, advice), ...buttons);
    this.empty.hidden = columns > 0;
    this.grid.view.element.hidden = columns === 0;
    this.formList.parentElement!.hidden = this.session.forms.length === 0;
    if (held) this.focusContent();
  }

  private firstSteps(): [string, [string, () => Promise<void>][]] {
    const addForm: [string, () => Promise<void>] = ["New form…", () => this.edits.addForm()];
    const open: [string, () => Promise<void>] = ["Open file…", () => openFile(this, this.session)];
    if (!this.structure) return ["There is no form yet: make one, or open a notebook file or a CSV file.", [addForm, open]];
    if (!this.table) return ["This form has no table yet.", [["New table…", () => this.edits.addTable()]]];
    return ["This table has no columns yet.", [["New column…", () => this.edits.addColumn()]]];
  }

  private focusContent(): void {
    if (this.empty.hidden) this.grid.focus();
    else this.empty.querySelector("button")?.focus();
  }

  // What needs a table; where there is none, says so.
  private inTable(run: () => Promise<void>): void {
    if (this.table) void run();
    else this.alert(this.firstSteps()[0]);
  }

  private tab(name: string): HTMLElement {
    const selected = name === this.table?.name;
    const choose = () => {
      this.session.show(name);
      this.grid.focus();
    };
    return el("button", {
      class: "tab",
      type: "button",
      textContent: name,
      tabIndex: selected ? 0 : -1,
      attrs: { role: "tab", "aria-selected": String(selected) },
      on: { click: choose, keydown: (event) => this.tabKey(event) },
    });
  }

  private tabKey(event: KeyboardEvent): void {
    const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    const tabs = [...this.tabs.children] as HTMLElement[];
    if (step) tabs[(tabs.indexOf(event.target as HTMLElement) + step + tabs.length) % tabs.length]?.focus();
  }

  private showHistory(): void {
    for (const which of ["undo", "redo"] as const) {
      const step = this.structure?.[which];
      const keys = which === "undo" ? "Ctrl+Z" : "Ctrl+Y";
      const name = which === "undo" ? "Undo" : "Redo";
      this.history[which].title = step ? `${name}: ${step.text} (${keys})` : `${name} (${keys})`;
      setDisabled(this.history[which], !step && this.session.queue.unsent === 0);
    }
  }

  private showSelection(): void {
    const { selection, table } = this;
    const column = table?.columns.find((each) => each.name === selection?.column);
    const cell = selection && column && this.session.cell(selection.index, column);
    const place = el("span", { class: "place", title: selection?.address ?? "" }, selection ? `${selection.column} · ${selection.row}` : "no cell");
    const formula = column?.formula ? el("code", { class: "formula", title: column.formula }, `= ${column.formula}`) : null;
    const edit = column
      ? el("button", { type: "button", on: { click: () => this.openPanel("formula") } }, column.formula ? "Edit formula" : "Add a formula")
      : null;
    this.bar.replaceChildren(place, el("span", { class: "text" }, cell?.text ?? ""), ...[formula, edit].filter((part) => part !== null));
  }

  private showSaving(): void {
    clearTimeout(this.savingTimer);
    const { state, unsent } = this.session.queue;
    const slow = state === "sending" ? 400 : 0;
    this.savingTimer = setTimeout(() => this.messages.setSaving(savingText(state, unsent, this.session.connected), state), slow);
    this.showHistory();
    this.showLocked(state === "locked");
  }

  private showLocked(isLocked: boolean): void {
    if (isLocked) this.stopLocked ??= this.messages.alert(locked);
    else this.stopLocked?.(), (this.stopLocked = null);
  }

  // How many problems there are; asked when nothing has changed for a while, and seldom where it
  // takes long.
  private checkSoon(): void {
    clearTimeout(this.checkTimer);
    this.checkTimer = setTimeout(() => void this.check(), Math.max(600, 10 * this.checkCost));
  }

  private async check(): Promise<void> {
    const form = this.structure?.form;
    if (!form || this.session.queue.state !== "idle") return;
    const start = performance.now();
    const answer = await this.api.check(form).catch(() => null);
    this.checkCost = performance.now() - start;
    if (answer && form === this.structure?.form) this.showProblems(answer.problems);
  }

  private showProblems(problems: Problem[]): void {
    this.problems = problems;
    this.messages.setProblems(problemText(problems), problems.length > 0);
  }

  private async showNextProblem(): Promise<void> {
    const problem = this.problems[this.problemShown++ % this.problems.length];
    if (!problem?.table) return;
    const table = addressOf.table(problem.form, problem.table);
    const column = problem.column === null ? table : addressOf.column(problem.form, problem.table, problem.column);
    const cell = problem.row === null || problem.column === null ? column : addressOf.cell(problem.form, problem.table, problem.column, problem.row);
    await this.attempt(this.select(cell));
    this.openPanel(problem.definition === null ? "why" : "formula");
    this.announce(sentence(problem.message));
  }
  private problems: Problem[] = [];
  private problemShown = 0;

  private refused(edit: Edit, error: ApiError): void {
    const text = edit.texts[0]?.[0];
    const single = edit.texts.length === 1 && edit.texts[0]!.length === 1 && typeof text === "string";
    this.announce("");
    const kept = single && error.status !== 422 ? " What you typed is kept under Settings, Texts put aside." : "";
    this.alert(single ? sentence(error.message) + kept : blockRefused(error));
    const putAside = (lost: string, place: CellPlace) => this.session.queue.putAside({ cell: nameOf(place), text: lost, why: error.message });
    if (single || error.status === 409) forEachText(edit, putAside);
    if (single && error.status === 422) void this.editAgain(edit, text);
  }

  private stranded(cell: string, text: string): void {
    this.session.queue.putAside({ cell, text, why: "the cell is gone" });
    this.alert(`${cell} is gone. What you typed is kept under Settings, Texts put aside: ${text}`);
  }

  // The text that was not taken stands in the cell's editor again, unless the person types elsewhere.
  private async editAgain(edit: Edit, text: string): Promise<void> {
    if (edit.form !== this.structure?.form || edit.table !== this.table?.name || this.grid.isEditing) return;
    const id = edit.rows[0];
    const row = id ? this.session.cache?.indexOf(id) : edit.index;
    const column = this.table.columns.findIndex((each) => each.name === edit.columns[0]);
    if (row === undefined || column < 0) return;
    this.grid.goTo({ row, column });
    this.grid.edit(text);
  }

  private showConflict(conflict: Conflict): void {
    const name = nameOf(conflict);
    const line = (label: string, text: string) => el("div", { class: "version" }, el("b", {}, label), el("q", {}, text));
    const settle = (keep: "mine" | "theirs") => () => {
      this.session.queue.settle(conflict, keep);
      this.announce(keep === "mine" ? "Your text is typed in" : "Your text is kept under Settings, Texts put aside");
      this.grid.focus();
    };
    this.messages.alert(`${name} was changed by somebody else while you typed.`, [
      { label: "Keep mine", run: settle("mine") },
      { label: "Take theirs", run: settle("theirs") },
    ], [line("yours: ", conflict.mine), line("there now: ", conflict.theirs || "(empty)")]);
  }

  // Waits a little for the row to be there, so that the selection is known.
  private async rowCame(index: number | null): Promise<void> {
    for (let i = 0; i < 40 && index !== null && this.session.rowId(index) === undefined; ++i) {
      await new Promise((resolve) => setTimeout(resolve, 25));
    }
    this.session.select(this.grid.active.row, this.grid.active.column);
  }
}

const locked = "The server was started again: open the address that it has printed. What you typed is kept.";

function isChange(answer: unknown): answer is Change | ChangeAnswer {
  return typeof answer === "object" && answer !== null && ("answer" in answer || Array.isArray((answer as ChangeAnswer).forms) && typeof (answer as ChangeAnswer).forms[0] === "object");
}

function sentence(text: string): string {
  // What begins with a name is left as it is.
  if (text === "") return "Something went wrong.";
  return /^[a-z]+ /.test(text) ? text[0]!.toUpperCase() + text.slice(1) : text;
}

// Where the text is that kept a block from being typed.
function blockRefused(error: ApiError): string {
  const { cell } = error.body as { cell?: string };
  return `${cell ? `${cell}: ` : ""}${sentence(error.message)} Nothing of the block was typed.`;
}

function savingText(state: QueueState, unsent: number, connected: boolean): string {
  const waiting = count(unsent, "unsent edit");
  if (state === "locked") return `Locked out · ${waiting}`;
  if (state === "offline" || !connected) return unsent > 0 ? `Offline · ${waiting}` : "Offline";
  return state === "sending" ? "Saving…" : "Saved";
}

function problemText(problems: Problem[]): string {
  const kinds = ["error", "warning", "note"] as const;
  const counts = kinds.map((kind) => [kind, problems.filter((problem) => problem.severity === kind).length] as const);
  const some = counts.filter(([, n]) => n > 0).map(([kind, n]) => count(n, kind));
  return some.length > 0 ? some.join(", ") : "No problems";
}

function lastPlace(): { form: string; table?: string } {
  try {
    return { form: "", ...(JSON.parse(localStorage.getItem(lastPlaceKey) ?? "{}") as object) };
  } catch {
    return { form: "" };
  }
}

function focusable(part: HTMLElement): HTMLElement | null {
  if (part.hidden) return null;
  return part.querySelector<HTMLElement>('[tabindex="0"], select, button:not([disabled]):not([tabindex="-1"]), input');
}

// A disabled button that has the focus would lose it.
function setDisabled(button: HTMLButtonElement, disabled: boolean): void {
  if (disabled) button.setAttribute("aria-disabled", "true");
  else button.removeAttribute("aria-disabled");
}
