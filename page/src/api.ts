// The interface of the server, typed. Cell texts are in the person's locale; formulas are always
// the notebook's own.

export type CellState = "entered" | "noted" | "";

export interface CellData {
  text: string;
  state: CellState;
  min: number | null;
  max: number | null;
  unit: string;
}

export interface RowData {
  id: string;
  cells: Record<string, CellData>;
}

export interface Rows {
  form: string;
  table: string;
  version: number;
  count: number;
  from: number;
  rows: RowData[];
}

export interface Column {
  name: string;
  type: "string" | "number" | "date" | "Boolean" | "structure";
  unit: string | null;
  numberFormatting: boolean;
  formula: string | null;
  format: string | null;
}

export interface Definition {
  name: string;
  formula: string;
}

export interface TableField {
  kind: "table";
  name: string;
  rows: number;
  resultFormat: string | null;
  columns: Column[];
  definitions: Definition[];
}

export interface TextField {
  kind: "structure" | "text";
  name: string;
  text: string;
}

export type Field = TableField | TextField;

export interface HistoryStep {
  step: number;
  text: string;
  by: string;
}

export interface Structure {
  form: string;
  version: number;
  locale: string;
  settled: boolean;
  rounds: number;
  where: string;
  undo: HistoryStep | null;
  redo: HistoryStep | null;
  fields: Field[];
}

// A replacement of part of a formula that is sure to be meant.
export interface Mend {
  start: number;
  length: number;
  text: string;
}

// The forms that came with a file, and what the person should know of it.
export interface Imported {
  forms: string[];
  notes: string[];
}

export interface Problem {
  code: string;
  severity: "error" | "warning" | "note";
  form: string;
  table: string | null;
  column: string | null;
  row: string | null;
  definition: string | null;
  formula: string | null;
  start: number | null;
  length: number | null;
  message: string;
  help: string;
  rows: number | null;
  mend?: Mend;
}

// The cells that a change changed, and the problems then.
export interface ChangeAnswer {
  forms: {
    name: string;
    settled?: boolean;
    rounds?: number;
    tables: { name: string; columns: string[]; rows: RowData[] }[];
  }[];
  problems?: Problem[];
  ids?: string[];
  notes?: string[];
}

// What a change made of its form besides the answer: the version after it and how many cells
// changed in all, of which the answer may list the first ones only.
export interface Change {
  answer: ChangeAnswer;
  version: number | null;
  changed: number | null;
}

export interface Place {
  form: string;
  table: string | null;
  column: string | null;
  row: string | null;
  index: number | null;
}

export interface Found {
  cell: string | null;
  table?: string;
  column?: string;
  row?: string;
  index?: number;
}

export interface Series {
  column: string;
  unit: string | null;
  min: (number | null)[];
  max: (number | null)[];
}

export interface Points {
  version: number;
  x: Series;
  y: Series[];
  rows: string[];
}

export type Value =
  | { kind: "number" | "date"; min: number | null; max: number | null }
  | { kind: "string"; text: string }
  | { kind: "boolean"; value: boolean }
  | { kind: "structure"; mvr: string }
  | { kind: "unknown" }
  | { kind: "error"; number: number; source: string; description: string };

export interface Raised {
  raised: { number: number; source: string; description: string };
}

export interface Step {
  start: number;
  length: number;
  source: string;
  value?: Value | Raised;
  text?: string;
  cell?: string;
  origin?: string;
  // Of the other cell or the definition that the step is; the steps below stand in it.
  formula?: string;
  error?: string;
  error_from?: string;
  steps?: Step[];
  // How many rows are left out of the steps.
  more?: number;
}

export interface StoryLine {
  level: number;
  text: string;
  error: boolean;
  cell?: string;
}

export interface Explanation {
  cell: string;
  text: string;
  origin: string;
  formula?: string;
  value?: Value | Raised;
  steps?: Step[];
  shown?: {
    pattern?: string;
    digits?: number;
    digits_from?: { cell: string; text: string };
    unit?: string;
    unit_from?: { cell: string; text: string };
  };
  problems?: Problem[];
  error?: string;
  error_from?: string;
  story: StoryLine[];
}

export interface FunctionHelp {
  name: string;
  summary: string;
  forms: { syntax: string; meaning: string }[];
  errors: string;
  examples: { formula: string; shows: string }[];
}

export interface Names {
  columns: { name: string; insert: string; type: string; unit: string | null }[];
  definitions: { name: string; insert: string; formula: string }[];
  tables: { name: string; insert: string; columns: { name: string; insert: string }[] }[];
  fields: { name: string; insert: string }[];
  functions: FunctionHelp[];
}

export interface Token {
  start: number;
  length: number;
  kind: "reference" | "function" | "number" | "text" | "operator" | "parenthesis" | "other";
}

export interface Preview {
  tokens: Token[];
  problems: Problem[];
  value?: Value | Raised;
  text?: string;
}

export interface DialogControl {
  caption?: string;
  items?: string[];
  index?: number;
  text?: string;
  font?: string;
  default?: boolean;
}

export interface DialogState extends Partial<ChangeAnswer> {
  dialog: string;
  title: string;
  closed: boolean;
  changed?: boolean;
  controls: Record<string, DialogControl>;
}

export interface DialogEvent {
  event: "Click" | "GotFocus" | "LostFocus" | "Close";
  control?: string;
  controls?: Record<string, { text?: string; index?: number }>;
}

// A refusal of the server, or (status 0) no answer at all.
export class ApiError extends Error {
  constructor(
    readonly status: number,
    message: string,
    readonly body: Record<string, unknown> = {},
  ) {
    super(message);
  }
}

type Query = Record<string, string | number | boolean | null | undefined>;

interface Answered<T> {
  data: T;
  headers: Headers;
}

// The address of a cell, column or row as the server reads it; it is never taken apart here.
export const addressOf = {
  table: (form: string, table: string) => `${form}/${table}`,
  column: (form: string, table: string, column: string) => `${form}/${table}:${column}`,
  cell: (form: string, table: string, column: string, row: string) =>
    `${form}/${table}:${column}:${row}`,
  row: (form: string, table: string, row: string) => `${form}/${table}::${row}`,
};

// Where the page comes from another machine, browsers have no crypto.randomUUID.
function randomId(): string {
  return [...crypto.getRandomValues(new Uint8Array(16))].map((byte) => byte.toString(16).padStart(2, "0")).join("");
}

export class Api {
  // How this page calls itself, so that it knows its own changes among the events.
  readonly client = randomId();
  // A name such as "de_DE", or "" for the notebook's own.
  locale = "";

  forms = () => this.get<string[]>("forms");
  structure = (form: string) => this.get<Structure>(`structure/${encodeURIComponent(form)}`);
  rows = (table: string, from: number, count: number) =>
    this.get<Rows>(`rows/${encodeURIComponent(table)}`, { from, count });
  place = (address: string) => this.get<Place>(`place/${encodeURIComponent(address)}`);
  explain = (address: string, depth?: number) =>
    this.get<Explanation>(`explain/${encodeURIComponent(address)}`, { depth, story: 1, mends: 1 });
  check = (form: string) =>
    this.get<{ problems: Problem[] }>(`check/${encodeURIComponent(form)}`, { mends: 1 });
  names = (table: string) => this.get<Names>(`names/${encodeURIComponent(table)}`);
  formula = (column: string) =>
    this.get<{ formula: string | null; format: string | null }>(
      `formulas/${encodeURIComponent(column)}`,
    );
  definition = (address: string) =>
    this.get<{ formula: string }>(`definitions/${encodeURIComponent(address)}`);
  // `row` counts from 0.
  find = (
    form: string,
    text: string,
    from: { table?: string; column?: string; row?: number; backwards?: boolean },
  ) =>
    this.get<Found>(`find/${encodeURIComponent(form)}`, {
      text,
      table: from.table,
      column: from.column,
      row: from.row,
      backwards: from.backwards ? 1 : undefined,
    });
  points(table: string, x: string, y: string[]): Promise<Points> {
    const series = y.map((name) => `&y=${encodeURIComponent(name)}`).join("");
    return this.get<Points>(`points/${encodeURIComponent(table)}?x=${encodeURIComponent(x)}${series}`);
  }
  // Where the browser fetches a file; `address` is a form (notebook file) or a table (CSV).
  exportUrl = (address: string, query: Query = {}) =>
    this.url(`export/${encodeURIComponent(address)}`, query);

  type = (cell: string, text: string, was?: string) =>
    this.change("PUT", `cells/${encodeURIComponent(cell)}`, { text, was }, { report: "brief" });
  block = (table: string, column: string, row: number, texts: Texts, was?: Texts) =>
    this.change(
      "POST",
      `blocks/${encodeURIComponent(table)}`,
      { column, row, texts, was },
      { report: "brief" },
    );
  undo = (form: string, step: number) =>
    this.change("POST", `undo/${encodeURIComponent(form)}`, { step }, { report: "brief" });
  redo = (form: string, step: number) =>
    this.change("POST", `redo/${encodeURIComponent(form)}`, { step }, { report: "brief" });
  addRows = (table: string, count: number, at?: number) =>
    this.change("POST", `rows/${encodeURIComponent(table)}`, { at, count }, { report: "brief" });
  addPart = (
    address: string,
    part: { type?: string; unit?: string | null; numberFormatting?: boolean; at?: number } = {},
  ) => this.change("POST", `parts/${encodeURIComponent(address)}`, part);
  changePart = (address: string, part: { name: string } | { at: number }) =>
    this.change("PATCH", `parts/${encodeURIComponent(address)}`, part);
  removePart = (address: string, force = false) =>
    this.change("DELETE", `parts/${encodeURIComponent(address)}`, undefined, {
      force: force ? 1 : undefined,
    });
  removeRows = (table: string, ids: string[], force = false) =>
    this.change("DELETE", `rows/${encodeURIComponent(table)}`, { ids }, {
      report: "brief",
      force: force ? 1 : undefined,
    });
  setFormula = (column: string, body: { formula?: string; format?: string; was?: string }) =>
    this.change("PUT", `formulas/${encodeURIComponent(column)}`, body);
  setDefinition = (address: string, body: { formula: string; was?: string }) =>
    this.change("PUT", `definitions/${encodeURIComponent(address)}`, body);

  async newForm(name: string, empty = false): Promise<string> {
    return (await this.send<{ form: string }>("POST", "forms", { name, empty })).data.form;
  }
  // The number format is left out for definitions, which have none.
  async preview(address: string, formula: string, definition = false, format?: string): Promise<Preview> {
    const body = definition ? { formula, definition } : { formula, format };
    return (await this.send<Preview>("POST", `preview/${encodeURIComponent(address)}`, body)).data;
  }
  // The delimiter of a CSV file where it is not the usual one.
  async importFile(file: File, delimiter?: string): Promise<Imported> {
    return (await this.send<Imported>("POST", "import", file, { name: file.name, delimiter })).data;
  }
  async openProperties(table: string): Promise<DialogState> {
    return (await this.send<DialogState>("POST", `properties/${encodeURIComponent(table)}`)).data;
  }
  async tellProperties(dialog: string, event: DialogEvent): Promise<DialogState> {
    const path = `properties/${encodeURIComponent(dialog)}`;
    return (await this.send<DialogState>("POST", path, event)).data;
  }

  private async change(method: string, path: string, body?: unknown, query: Query = {}): Promise<Change> {
    const { data, headers } = await this.send<ChangeAnswer>(method, path, body, query);
    return {
      answer: data,
      version: headerNumber(headers, "Kt-Version"),
      changed: headerNumber(headers, "Kt-Changed"),
    };
  }

  private async get<T>(path: string, query: Query = {}): Promise<T> {
    return (await this.send<T>("GET", path, undefined, query)).data;
  }

  // Sends and reads JSON; throws ApiError for everything but success.
  private async send<T>(method: string, path: string, body?: unknown, query: Query = {}): Promise<Answered<T>> {
    const headers: Record<string, string> = { "Kt-Client": this.client };
    const init: RequestInit = { method, headers, credentials: "same-origin", cache: "no-store" };
    if (body instanceof Blob) {
      init.body = body;
    } else if (body !== undefined) {
      headers["Content-Type"] = "application/json";
      init.body = JSON.stringify(body);
    }
    const response = await fetch(this.url(path, query), init).catch(() => {
      throw new ApiError(0, "the server does not answer");
    });
    const data = await readJson(response);
    if (!response.ok) throw refusal(response, data);
    return { data: data as T, headers: response.headers };
  }

  private url(path: string, query: Query): string {
    const all = Object.entries({ ...query, locale: this.locale || undefined })
      .filter(([, value]) => value !== undefined && value !== null)
      .map(([name, value]) => `${name}=${encodeURIComponent(String(value))}`);
    if (all.length === 0) return `/api/${path}`;
    return `/api/${path}${path.includes("?") ? "&" : "?"}${all.join("&")}`;
  }
}

export type Texts = (string | null)[][];

async function readJson(response: Response): Promise<unknown> {
  const text = await response.text().catch(() => {
    throw new ApiError(0, "the connection broke");
  });
  try {
    return text === "" ? {} : JSON.parse(text);
  } catch {
    return {};
  }
}

function refusal(response: Response, data: unknown): ApiError {
  const body = (data ?? {}) as Record<string, unknown>;
  const message = typeof body.error === "string" ? body.error : `the server answered ${response.status}`;
  return new ApiError(response.status, message, body);
}

function headerNumber(headers: Headers, name: string): number | null {
  const text = headers.get(name);
  return text === null ? null : Number(text);
}
