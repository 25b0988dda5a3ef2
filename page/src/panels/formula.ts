// The formula of the selected column, or a definition of its table: edited with its preview and
// its problems beside it, and saved only when asked to.
import { addressOf, ApiError, type Change, type Mend, type Preview, type Problem, type TableField } from "../api";
import { el, setAttribute } from "../dom";
import type { App, Panel } from "../state";
import { button, debounced, freshId, latest, messageOf } from "./dom";
import { FormulaEditor } from "./formula_editor";
import { viewFormula } from "./formula_tokens";
import { mended, problemList, severityMark } from "./problems";

const kPreviewDelay = 150;

interface Texts {
  formula: string;
  format: string;
}

/** What is edited: a column or a definition of a table, and its texts as they were read. */
interface Target {
  form: string;
  table: string;
  kind: "column" | "definition";
  name: string;
  was: Texts;
}

// What was not saved when the panel was closed, for when it is opened again.
let unsaved: { target: Target; texts: Texts } | null = null;

export function mountFormula(host: HTMLElement, app: App): Panel {
  return new FormulaPanel(host, app);
}

class FormulaPanel implements Panel {
  readonly title = "Formula";
  private target: Target | null = null;
  // The selected column to which the panel last went along.
  private followed: string | null = null;
  private readonly ask = latest();
  private readonly stops: (() => void)[];
  private readonly preview = debounced(kPreviewDelay, () => void this.showPreview());
  private readonly namesAsked = latest();

  private readonly formatId = freshId();
  private readonly choice = el("select", {
    attrs: { "aria-label": "Formula of" },
    on: { change: () => this.choose() },
  });
  private readonly remove = button("Remove", () => void this.removeDefinition(), {
    attrs: { title: "Remove this definition" },
  });
  private readonly newName = el("input", {
    type: "text",
    placeholder: "Name",
    attrs: { "aria-label": "Name of the new definition" },
  });
  private readonly newForm = el(
    "form",
    {
      class: "kt-inline-form",
      hidden: true,
      on: {
        submit: (event: SubmitEvent) => {
          event.preventDefault();
          this.addDefinition();
        },
      },
    },
    this.newName,
    el("button", { type: "submit", textContent: "Add" }),
    button("Cancel", () => this.askName(false)),
  );
  private readonly editorHost = el("div", { class: "kt-editor" });
  private readonly functionLine = el("div", { class: "kt-function-line kt-quiet" });
  private readonly result = el("div", { class: "kt-preview" });
  private readonly problems = el("div");
  private readonly format = el("input", {
    type: "text",
    id: this.formatId,
    spellcheck: false,
    placeholder: "as exact as what was typed in",
    on: {
      input: () => this.edited(),
      keydown: (event) => {
        if (event.key === "Enter") void this.save();
      },
    },
  });
  private readonly formatProblems = el("div");
  private readonly formatRow = el(
    "div",
    { class: "kt-field" },
    el("label", { htmlFor: this.formatId, textContent: "Number format" }),
    this.format,
    this.formatProblems,
  );
  private readonly saveButton = button("Save", () => void this.save(), {
    class: "primary",
    attrs: { title: "Save (Ctrl+Enter)" },
  });
  private readonly revertButton = button("Revert", () => this.revert());
  private readonly conflict = el("div");
  private readonly body = el(
    "div",
    { class: "kt-panel-content" },
    this.newForm,
    this.editorHost,
    this.functionLine,
    this.result,
    this.problems,
    this.formatRow,
    this.conflict,
    el("div", { class: "kt-buttons" }, this.saveButton, this.revertButton),
  );
  private readonly nothing = el("p", {
    class: "kt-panel-content kt-quiet",
    textContent: "Select a cell to see the formula of its column.",
  });
  private readonly bar = el(
    "div",
    { class: "kt-panel-bar" },
    this.choice,
    button("New definition", () => this.askName(true)),
    this.remove,
  );
  private readonly root = el(
    "section",
    { class: "kt-panel kt-formula-panel", attrs: { "data-panel": "formula", "aria-label": "Formula" } },
    this.bar,
    this.nothing,
    this.body,
  );
  private readonly editor = new FormulaEditor(this.editorHost, {
    changed: () => this.edited(),
    moved: () => this.showFunction(),
    save: () => void this.save(),
    mend: (_problem, mend) => this.mend(mend),
  });

  constructor(
    host: HTMLElement,
    private readonly app: App,
  ) {
    host.append(this.root);
    this.stops = [
      app.on("selection", () => this.follow()),
      app.on("structure", () => this.reread()),
      app.on("changed", () => this.preview()),
    ];
    this.restore();
    this.follow();
    this.showState();
  }

  refresh(): void {
    this.follow();
    this.editor.view.requestMeasure();
  }

  destroy(): void {
    for (const stop of this.stops) stop();
    this.preview.stop();
    if (this.target !== null && this.isEdited) unsaved = { target: this.target, texts: this.texts };
    this.editor.destroy();
    this.root.remove();
  }

  private restore(): void {
    const kept = unsaved;
    unsaved = null;
    if (kept === null || this.tableOf(kept.target) === null) return;
    this.open(kept.target);
    this.format.value = kept.texts.format;
    this.editor.replace(kept.texts.formula);
  }

  private get texts(): Texts {
    const isColumn = this.target?.kind === "column";
    return { formula: this.editor.text, format: isColumn ? this.format.value : "" };
  }

  private get isEdited(): boolean {
    return this.target !== null && !areSame(this.texts, this.target.was);
  }

  /** Goes along to the column that is selected, but never away from what is not saved. */
  private follow(): void {
    const { selection, table } = this.app;
    const column =
      selection === null ? null : addressOf.column(selection.form, selection.table, selection.column);
    const isNew = column !== this.followed || this.target === null;
    if (selection !== null && table?.name === selection.table && isNew && !this.isEdited) {
      this.followed = column;
      this.open(this.targetOf(selection.form, table, "column", selection.column));
    } else {
      this.preview();
    }
    this.showChoices();
  }

  private isOf(form: string, table: string): boolean {
    return this.target?.form === form && this.target.table === table;
  }

  private targetOf(form: string, table: TableField, kind: Target["kind"], name: string): Target {
    return { form, table: table.name, kind, name, was: storedTexts(table, kind, name) };
  }

  private open(target: Target): void {
    const isOtherTable = !this.isOf(target.form, target.table);
    this.target = target;
    const label = target.kind === "column" ? "Formula of column" : "Definition";
    this.format.value = target.was.format;
    this.editor.open(target.was.formula, `${label} ${target.name}`, "no formula: values are typed in");
    this.conflict.replaceChildren();
    this.show({ tokens: [], problems: [] });
    this.showState();
    this.showFunction();
    this.preview();
    if (isOtherTable) void this.readNames();
  }

  /** Formulas were changed, by whomever. */
  private reread(): void {
    const { target } = this;
    const table = this.tableOf(target);
    if (target !== null && table !== null) this.takeOver(target, storedTexts(table, target.kind, target.name));
    else if (!this.isEdited) this.target = null;
    this.follow();
    this.showState();
    void this.readNames();
  }

  /** What was not edited here becomes what is stored; the rest keeps what it was edited from. */
  private takeOver(target: Target, stored: Texts): void {
    const now = this.texts;
    if (areSame(stored, now)) {
      this.target = { ...target, was: stored };
    } else if (!this.isEdited) {
      this.open({ ...target, was: stored });
    } else if (now.format === target.was.format) {
      this.format.value = stored.format;
      this.target = { ...target, was: { ...target.was, format: stored.format } };
    } else if (now.formula === target.was.formula) {
      this.target = { ...target, was: { ...target.was, formula: stored.formula } };
      this.editor.replace(stored.formula);
    }
  }

  private tableOf(target: Target | null): TableField | null {
    const { structure } = this.app;
    if (target === null || structure?.form !== target.form) return null;
    const field = structure.fields.find((one) => one.kind === "table" && one.name === target.table);
    return field?.kind === "table" ? field : null;
  }

  private async readNames(): Promise<void> {
    const { target } = this;
    if (target === null) return;
    const isLatest = this.namesAsked();
    // Without names the editor still edits.
    const names = await this.app.api.names(addressOf.table(target.form, target.table)).catch(() => null);
    if (names !== null && isLatest()) {
      this.editor.knows(names);
      this.showFunction();
    }
  }

  private showChoices(): void {
    const { target } = this;
    const table = this.tableOf(target);
    if (target === null || table === null) return;
    const columns = table.columns.map((column) => option("column", column.name, column.formula === null));
    const names = table.definitions.map((definition) => definition.name);
    if (target.kind === "definition" && !names.includes(target.name)) names.push(target.name);
    const definitions = names.map((name) => option("definition", name, false));
    this.choice.replaceChildren(
      el("optgroup", { label: `Columns of ${table.name}` }, ...columns),
      ...(definitions.length > 0 ? [el("optgroup", { label: "Definitions" }, ...definitions)] : []),
    );
    this.choice.value = optionValue(target.kind, target.name);
  }

  private choose(): void {
    const table = this.tableOf(this.target);
    const chosen = this.choice.selectedOptions[0]?.dataset;
    if (table === null || this.target === null || chosen?.name === undefined) return;
    if (this.isEdited) {
      this.app.announce(`Save or revert the changes to ${this.target.name} first.`);
      this.showChoices();
      return;
    }
    const kind = chosen.kind === "definition" ? "definition" : "column";
    this.open(this.targetOf(this.target.form, table, kind, chosen.name));
  }

  private askName(isAsked: boolean): void {
    this.newForm.hidden = !isAsked;
    this.newName.value = "";
    if (isAsked) this.newName.focus();
  }

  private addDefinition(): void {
    const name = this.newName.value.trim();
    const table = this.tableOf(this.target);
    if (name === "" || table === null || this.target === null) return;
    if (this.isEdited) {
      this.app.announce(`Save or revert the changes to ${this.target.name} first.`);
      return;
    }
    this.askName(false);
    this.open(this.targetOf(this.target.form, table, "definition", name));
    this.showChoices();
    this.editor.view.focus();
  }

  private async removeDefinition(): Promise<void> {
    const { target } = this;
    if (target?.kind !== "definition") return;
    const address = addressOf.column(target.form, target.table, target.name);
    const was = target.was.formula;
    const isStored = was !== "";
    if (isStored && (await this.app.run(() => this.app.api.setDefinition(address, { formula: "", was }))) === undefined)
      return;
    this.app.announce(`Removed the definition ${target.name}.`);
    this.target = null;
    this.follow();
  }

  private edited(): void {
    this.showState();
    this.preview();
  }

  private showState(): void {
    const { target, isEdited } = this;
    this.nothing.hidden = target !== null;
    this.bar.hidden = target === null;
    this.body.hidden = target === null;
    this.formatRow.hidden = !this.hasFormat;
    this.remove.hidden = target?.kind !== "definition";
    this.saveButton.disabled = !isEdited;
    this.revertButton.disabled = !isEdited;
    this.root.classList.toggle("edited", isEdited);
  }

  /** Whether a number format is of use, or given although it is of none. */
  private get hasFormat(): boolean {
    const { target } = this;
    if (target?.kind !== "column") return false;
    const column = this.tableOf(target)?.columns.find((one) => one.name === target.name);
    return column?.type === "number" || target.was.format !== "";
  }

  private showFunction(): void {
    const known = this.editor.functionHere();
    this.functionLine.replaceChildren();
    for (const form of known?.forms ?? []) {
      this.functionLine.append(el("div", {}, el("code", { textContent: form.syntax }), ` ${form.meaning}`));
    }
  }

  /** The row whose value the preview computes. */
  private get row(): string | null {
    const { selection } = this.app;
    const isHere = selection !== null && this.target?.kind === "column" && this.isOf(selection.form, selection.table);
    return isHere ? selection.row : null;
  }

  private async showPreview(): Promise<void> {
    const { target, row, texts } = this;
    if (target === null) return;
    const isLatest = this.ask();
    const address =
      row === null
        ? addressOf.column(target.form, target.table, target.name)
        : addressOf.cell(target.form, target.table, target.name, row);
    try {
      const preview = await this.app.api.preview(address, texts.formula, target.kind === "definition", texts.format);
      if (isLatest()) this.show(preview);
    } catch (error) {
      if (isLatest()) this.result.textContent = messageOf(error);
    }
  }

  private show(preview: Preview): void {
    const ofFormat = preview.problems.filter((problem) => problem.code === "format");
    const ofFormula = preview.problems.filter((problem) => problem.code !== "format");
    this.editor.underline(ofFormula);
    this.showProblems(this.problems, ofFormula, (mend) => this.mend(mend));
    this.showProblems(this.formatProblems, ofFormat, (mend) => {
      this.format.value = mended(this.format.value, mend);
      this.edited();
    });
    setAttribute(this.format, "aria-invalid", ofFormat.length > 0);
    this.result.replaceChildren(...this.resultParts(preview));
  }

  private showProblems(host: HTMLElement, problems: Problem[], mend: (mend: Mend) => void): void {
    host.replaceChildren();
    if (problems.length > 0) host.append(problemList(problems, (_problem, one) => mend(one)));
  }

  private resultParts({ value, text, problems }: Preview): Node[] {
    if (value === undefined && text === undefined) return [];
    const failure = value === undefined ? undefined : failureOf(value);
    const isExplained = problems.some((problem) => problem.severity === "error");
    const shown = failure === undefined ? text || "(empty)" : isExplained ? "no value" : failure;
    return [
      el("span", { class: "kt-quiet", textContent: this.row === null ? "Value: " : `In row ${this.row}: ` }),
      ...(failure === undefined ? [] : [severityMark("error")]),
      el("b", { class: failure === undefined ? "" : "error", textContent: shown }),
    ];
  }

  private mend(mend: Mend): void {
    this.editor.replace(mended(this.editor.text, mend));
    this.editor.view.focus();
  }

  private revert(): void {
    if (this.target !== null) this.open(this.target);
  }

  private async save(): Promise<void> {
    const { target, texts } = this;
    if (target === null || !this.isEdited) return;
    const present = this.presentFormat(target);
    if (texts.format !== target.was.format && present !== target.was.format) {
      this.showConflict(target, { ...target.was, format: present });
      return;
    }
    let conflict: Texts | null = null;
    const done = await this.app.run(async () => {
      try {
        return await this.put(target, texts);
      } catch (error) {
        if (!(error instanceof ApiError) || error.status !== 409) throw error;
        conflict = { formula: String(error.body.present ?? ""), format: present };
        return null;
      }
    });
    if (conflict !== null) this.showConflict(target, conflict);
    else if (done !== undefined) this.saved(target, texts);
  }

  private presentFormat(target: Target): string {
    const table = this.tableOf(target);
    return table === null ? target.was.format : storedTexts(table, target.kind, target.name).format;
  }

  private put(target: Target, texts: Texts): Promise<Change> {
    const address = addressOf.column(target.form, target.table, target.name);
    const { formula, format } = texts;
    const was = target.was.formula;
    if (target.kind === "definition") return this.app.api.setDefinition(address, { formula, was });
    return this.app.api.setFormula(address, {
      was,
      ...(formula === was ? {} : { formula }),
      ...(format === target.was.format ? {} : { format }),
    });
  }

  private saved(target: Target, texts: Texts): void {
    this.conflict.replaceChildren();
    this.app.announce(`Saved ${target.name}.`);
    const { form, table, kind, name } = this.target ?? {};
    const isOpen = form === target.form && table === target.table && kind === target.kind && name === target.name;
    if (!isOpen) return;
    this.target = { ...target, was: texts };
    this.showState();
  }

  /** Somebody else's texts and the own ones, of which one is chosen. */
  private showConflict(target: Target, present: Texts): void {
    const mine = button("Keep mine", () => {
      this.target = { ...target, was: present };
      this.conflict.replaceChildren();
      void this.save();
    });
    const theirs = button("Take theirs", () => {
      this.open({ ...target, was: present });
      this.editor.view.focus();
    });
    this.conflict.replaceChildren(
      el(
        "div",
        { class: "kt-conflict", attrs: { role: "alert" } },
        el("p", { textContent: `${target.name} was changed by somebody else meanwhile.` }),
        el(
          "dl",
          {},
          el("dt", { textContent: "Theirs" }),
          el("dd", {}, ...conflictParts(present)),
          el("dt", { textContent: "Mine" }),
          el("dd", {}, ...conflictParts(this.texts)),
        ),
        el("div", { class: "kt-buttons" }, mine, theirs),
      ),
    );
    mine.focus();
  }
}

function conflictParts({ formula, format }: Texts): (Node | string)[] {
  const text = formula === "" ? "no formula" : viewFormula(formula).element;
  return format === "" ? [text] : [text, ` as ${format}`];
}

function storedTexts(table: TableField, kind: Target["kind"], name: string): Texts {
  if (kind === "column") {
    const column = table.columns.find((one) => one.name === name);
    return { formula: column?.formula ?? "", format: column?.format ?? "" };
  }
  const definition = table.definitions.find((one) => one.name === name);
  return { formula: definition?.formula ?? "", format: "" };
}

function areSame(a: Texts, b: Texts): boolean {
  return a.formula === b.formula && a.format === b.format;
}

function optionValue(kind: Target["kind"], name: string): string {
  return `${kind} ${name}`;
}

function option(kind: Target["kind"], name: string, isWithoutFormula: boolean): HTMLOptionElement {
  return el("option", {
    value: optionValue(kind, name),
    textContent: isWithoutFormula ? `${name} (no formula)` : name,
    attrs: { "data-kind": kind, "data-name": name },
  });
}

function failureOf(value: NonNullable<Preview["value"]>): string | undefined {
  if ("raised" in value) return value.raised.description;
  return value.kind === "error" ? value.description : undefined;
}
