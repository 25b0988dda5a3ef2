// Making and changing forms, tables, columns and rows, each asked for in a dialog where needed.
import { addressOf, ApiError, type Change, type Column } from "./api";
import { ask, confirmed, type Question } from "./dialogs";
import type { Range } from "./grid/range";
import type { Session } from "./session";
import type { App } from "./state";

const types = [
  { value: "number", label: "number" },
  { value: "string", label: "text" },
  { value: "date", label: "date" },
  { value: "Boolean", label: "yes/no" },
  { value: "structure", label: "structure" },
] as const;

const mostRemoved = 1000;

const nameQuestion = (value = ""): Question => ({ name: "name", label: "Name", value });

export class StructureEdits {
  constructor(private readonly app: App, private readonly session: Session) {}

  async addForm(): Promise<void> {
    const answers = await ask("New form", "Make", [nameQuestion()]);
    if (!answers) return;
    const form = await this.app.run(() => this.app.api.newForm(String(answers.name)));
    if (form === undefined) return;
    await this.session.refreshForms();
    await this.session.open(form);
  }

  async renameForm(): Promise<void> {
    const form = this.form();
    const name = await this.newName("Rename form", form);
    if (name === null) return;
    await this.app.run(() => this.app.api.changePart(form, { name }));
  }

  async removeForm(): Promise<void> {
    const form = this.form();
    const sure = await confirmed("Remove form", "Remove", `The form "${form}" and all its tables will be removed from the notebook.`);
    if (sure) await this.remove(form, `the form "${form}"`);
  }

  async addTable(): Promise<void> {
    const answers = await ask("New table", "Add", [nameQuestion()]);
    if (!answers) return;
    const name = String(answers.name);
    const done = await this.app.run(() => this.app.api.addPart(addressOf.table(this.form(), name)));
    if (!done) return;
    await this.session.refreshStructure();
    this.session.show(name);
  }

  async renameTable(): Promise<void> {
    const table = this.table();
    const name = await this.newName("Rename table", table);
    if (name === null) return;
    const done = await this.change(addressOf.table(this.form(), table), { name });
    if (!done) return;
    await this.session.refreshStructure();
    this.session.show(name);
  }

  async moveTable(step: number): Promise<void> {
    // Texts of the form may stand between its tables.
    const fields = this.session.structure?.fields ?? [];
    const tables = fields.filter((field) => field.kind === "table");
    const beside = tables[tables.findIndex((field) => field.name === this.table()) + step];
    if (beside) await this.moveTo(addressOf.table(this.form(), this.table()), fields.indexOf(beside), fields.length);
  }

  async removeTable(): Promise<void> {
    const table = this.table();
    const sure = await confirmed("Remove table", "Remove", `The table "${table}" will be removed with its rows and formulas.`);
    if (sure) await this.remove(addressOf.table(this.form(), table), `the table "${table}"`);
  }

  // Before the column at a position, or at the end.
  async addColumn(at?: number): Promise<void> {
    const answers = await ask("New column", "Add", [
      nameQuestion(),
      { name: "type", label: "Type", kind: types, value: "number" },
      { name: "unit", label: "Unit", optional: true, help: "such as g, ml or mmol; may be left empty", only: { name: "type", value: "number" } },
      {
        name: "numberFormatting",
        label: "Computed numbers are shown with the digits that were typed",
        kind: "checkbox",
        value: true,
        only: { name: "type", value: "number" },
      },
      { name: "formula", label: "Formula", optional: true, help: "such as [Mass]/[MW]; may be left empty" },
    ]);
    if (!answers) return;
    const column = addressOf.column(this.form(), this.table(), String(answers.name));
    const part = columnPart(answers, at);
    const done = await this.app.run(() => this.app.api.addPart(column, part));
    if (done && answers.formula !== "") {
      await this.app.run(() => this.app.api.setFormula(column, { formula: String(answers.formula) }));
    }
  }

  async renameColumn(column: Column): Promise<void> {
    const name = await this.newName("Rename column", column.name);
    if (name !== null) await this.change(this.column(column), { name });
  }

  async moveColumn(column: Column, step: number): Promise<void> {
    const columns = this.session.table?.columns ?? [];
    await this.moveTo(this.column(column), columns.indexOf(column) + step, columns.length);
  }

  async removeColumn(column: Column): Promise<void> {
    await this.remove(this.column(column), `the column "${column.name}"`);
  }

  // Before the row at a position, or at the end.
  async addRows(count: number, at?: number): Promise<void> {
    await this.app.run(() => this.app.api.addRows(this.session.tableAddress(), count, at));
  }

  async renameRow(row: number): Promise<void> {
    const id = this.session.rowId(row);
    const name = id === undefined ? null : await this.newName("Rename row", id);
    if (name !== null) await this.change(this.row(id!), { name });
  }

  async moveRow(row: number, step: number): Promise<void> {
    const id = this.session.rowId(row);
    if (id !== undefined) await this.moveTo(this.row(id), row + step, this.session.rowCount());
  }

  // As one step.
  async removeRows({ top, bottom }: Range): Promise<void> {
    const count = Math.min(bottom + 1, this.session.rowCount()) - top;
    if (count > mostRemoved) return this.app.alert(`At most ${mostRemoved} rows are removed at once; ${count} are selected.`);
    const ids = (await this.app.run(() => this.session.cache!.read(top, top + count)))?.map((row) => row.id) ?? [];
    const many = `${ids.length} rows, from "${ids[0]}" to "${ids[ids.length - 1]}", will be removed.`;
    if (ids.length === 0 || (ids.length > 1 && !(await confirmed("Remove rows", "Remove", many)))) return;
    const what = ids.length === 1 ? `the row "${ids[0]}"` : "these rows";
    await this.losing(what, (force) => this.app.api.removeRows(this.session.tableAddress(), ids, force));
  }

  private form = () => this.session.structure?.form ?? "";
  private table = () => this.session.table?.name ?? "";
  private column = (column: Column) => addressOf.column(this.form(), this.table(), column.name);
  private row = (id: string) => addressOf.row(this.form(), this.table(), id);

  // null where it stays.
  private async newName(title: string, present: string): Promise<string | null> {
    const answers = await ask(title, "Rename", [nameQuestion(present)], "Formulas that mean it are changed along.");
    const name = answers ? String(answers.name) : present;
    return name === present ? null : name;
  }

  private async moveTo(address: string, at: number, count: number): Promise<void> {
    if (at >= 0 && at < count) await this.change(address, { at });
  }

  private async change(address: string, part: { name: string } | { at: number }): Promise<Change | undefined> {
    const change = await this.app.run(() => this.app.api.changePart(address, part));
    for (const note of change?.answer.notes ?? []) this.app.announce(note);
    return change;
  }

  private remove(address: string, what: string): Promise<void> {
    return this.losing(what, (force) => this.app.api.removePart(address, force));
  }

  // Removes; asks first where formulas would lose it.
  private async losing(what: string, remove: (force: boolean) => Promise<Change>): Promise<void> {
    const outcome = await this.app.run(() => remove(false).catch((error: unknown) => losing(error)));
    if (!Array.isArray(outcome)) return;
    const text = `These formulas use ${what} and would show errors:`;
    if (await confirmed("Remove all the same?", "Remove", text, outcome)) await this.app.run(() => remove(true));
  }
}

function columnPart(answers: Record<string, string | boolean>, at: number | undefined) {
  const number = answers.type === "number";
  return {
    type: String(answers.type),
    unit: number && answers.unit !== "" ? String(answers.unit) : null,
    numberFormatting: number && answers.numberFormatting === true,
    ...(at === undefined ? {} : { at }),
  };
}

// The formulas that would lose what is to be removed.
function losing(error: unknown): string[] {
  const formulas = error instanceof ApiError && error.status === 409 ? error.body.formulas : undefined;
  if (Array.isArray(formulas)) return formulas.map(String);
  throw error;
}
