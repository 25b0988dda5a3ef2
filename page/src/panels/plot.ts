// Columns of a table plotted against another: ranges as error bars, points that are rows of the
// grid, drawn anew as cells change.
import { addressOf, type Column, type TableField } from "../api";
import { el } from "../dom";
import type { App, Panel } from "../state";
import { button, debounced, freshId, latest, messageOf } from "./dom";
import { barOf, placeOfRow, plotData, unitsOf, type PlotData, type Values } from "./plot_data";
import { numberText } from "./plot_scales";
import { kByRow, store, stored, type Settings } from "./plot_settings";
import { colourName, Colours, swatch } from "./plot_shapes";
import { kPictureSize, plotSvg, type PlotColours, type PlotScene } from "./plot_svg";
import { PlotView, type Pick } from "./plot_view";

const kUpdateDelay = 200;
const kListedPoints = 1000;
const kPictureScale = 2;

export function mountPlot(host: HTMLElement, app: App): Panel {
  return new PlotPanel(host, app);
}

class PlotPanel implements Panel {
  readonly title = "Plot";
  private view: PlotView | null = null;
  private data: PlotData | null = null;
  private settings: Settings | null = null;
  private table: TableField | null = null;
  // Chosen here, while the grid shows another.
  private chosenTable: string | null = null;
  private form: string | null = null;
  private picked: Pick | null = null;
  private readonly ask = latest();
  private readonly update = debounced(kUpdateDelay, () => void this.read());
  private readonly stops: (() => void)[];

  private readonly tableChoice = el("select", {
    id: freshId(),
    on: { change: () => this.chooseTable() },
  });
  private readonly xChoice = el("select", { id: freshId(), on: { change: () => this.chosen() } });
  private readonly yChoice = el("fieldset", { class: "kt-plot-columns" });
  private readonly options: Record<"line" | "logX" | "logY", HTMLInputElement> = {
    line: el("input", { type: "checkbox", on: { change: () => this.chosen() } }),
    logX: el("input", { type: "checkbox", on: { change: () => this.chosen() } }),
    logY: el("input", { type: "checkbox", on: { change: () => this.chosen() } }),
  };
  private readonly canvas = el("div", {
    class: "kt-plot-canvas",
    tabIndex: 0,
    attrs: { role: "application" },
    on: { keydown: (event: KeyboardEvent) => this.pressed(event) },
  });
  private readonly readout = el("div", { class: "kt-plot-readout", attrs: { "aria-live": "polite" } });
  private readonly note = el("p", { class: "kt-quiet" });
  private readonly list = el(
    "details",
    { on: { toggle: () => this.showList() } },
    el("summary", { textContent: "Points as a table" }),
  );
  private readonly body = el(
    "div",
    {},
    this.canvas,
    this.readout,
    el(
      "div",
      { class: "kt-buttons" },
      button("+", () => this.view?.zoom(0.5), { attrs: { "aria-label": "Zoom in", title: "Zoom in" } }),
      button("−", () => this.view?.zoom(2), { attrs: { "aria-label": "Zoom out", title: "Zoom out" } }),
      button("Fit", () => this.view?.fit(), { attrs: { title: "Show all points" } }),
      button("SVG", () => this.saveSvg(), { attrs: { "aria-label": "Save as SVG", title: "Save as SVG" } }),
      button("PNG", () => void this.savePng(), { attrs: { "aria-label": "Save as PNG", title: "Save as PNG" } }),
    ),
    this.list,
  );
  private readonly root = el(
    "section",
    { class: "kt-panel kt-plot", attrs: { "data-panel": "plot", "aria-label": "Plot" } },
    el(
      "div",
      { class: "kt-panel-bar" },
      field("Table", this.tableChoice),
      field("Across", this.xChoice),
      option(this.options.line, "Line"),
      option(this.options.logX, "Log x"),
      option(this.options.logY, "Log y"),
      this.yChoice,
    ),
    el("div", { class: "kt-panel-content" }, this.note, this.body),
  );
  private readonly recolour = () => this.view?.redraw();
  // Light or dark: as the system has it, or as it is chosen on the page.
  private readonly system = matchMedia("(prefers-color-scheme: dark)");
  private readonly theme = new MutationObserver(this.recolour);
  private readonly colours = new Colours(this.root);

  constructor(
    host: HTMLElement,
    private readonly app: App,
  ) {
    host.append(this.root);
    this.system.addEventListener("change", this.recolour);
    this.theme.observe(document.documentElement, { attributes: true });
    this.stops = [
      app.on("changed", () => this.update()),
      app.on("structure", () => this.offer()),
      app.on("selection", () => this.followSelection()),
    ];
    this.offer();
  }

  refresh(): void {
    this.offer();
  }

  destroy(): void {
    for (const stop of this.stops) stop();
    this.system.removeEventListener("change", this.recolour);
    this.theme.disconnect();
    this.update.stop();
    this.view?.destroy();
    this.root.remove();
  }

  private get isVisible(): boolean {
    return this.root.offsetParent !== null;
  }

  /** Offers the tables and columns that there are, as they were chosen before. */
  private offer(): void {
    const { structure } = this.app;
    if (structure?.form !== this.form) this.chosenTable = null;
    this.form = structure?.form ?? null;
    const tables = (structure?.fields ?? []).filter((one): one is TableField => one.kind === "table");
    const plottable = tables.filter((table) => numeric(table).length > 0);
    const wanted = this.chosenTable ?? this.app.table?.name;
    this.table = plottable.find((table) => table.name === wanted) ?? plottable[0] ?? null;
    this.tableChoice.replaceChildren(...plottable.map(({ name }) => new Option(name, name)));
    this.body.hidden = this.table === null;
    if (this.table === null) {
      this.note.textContent = "There is no column of numbers to plot.";
      return;
    }
    this.tableChoice.value = this.table.name;
    this.settings = this.keptSettings(this.table);
    this.showSettings(this.table, this.settings);
    this.rebuild();
  }

  private chooseTable(): void {
    this.chosenTable = this.tableChoice.value;
    this.offer();
  }

  private followSelection(): void {
    const isOther = this.chosenTable === null && this.app.table?.name !== this.table?.name;
    if (isOther && this.app.table !== null && numeric(this.app.table).length > 0) this.offer();
    else this.view?.redraw();
  }

  private get settingsKey(): string {
    return addressOf.table(this.form ?? "", this.table?.name ?? "");
  }

  private keptSettings(table: TableField): Settings {
    const names = numeric(table).map(({ name }) => name);
    const kept = stored(this.settingsKey);
    const y = (kept?.y ?? []).filter((name) => names.includes(name));
    const x = kept?.x === kByRow || names.includes(kept?.x ?? "") ? kept?.x : undefined;
    const [first = "", second = first] = names;
    const { selection } = this.app;
    const isUsable = selection?.table === table.name && names.includes(selection.column) && selection.column !== first;
    return {
      x: x ?? (names.length > 1 ? first : kByRow),
      y: y.length > 0 ? y : [isUsable ? selection.column : second],
      line: kept?.line === true,
      logX: kept?.logX === true,
      logY: kept?.logY === true,
    };
  }

  private showSettings(table: TableField, settings: Settings): void {
    const columns = numeric(table);
    this.xChoice.replaceChildren(
      ...columns.map((column) => new Option(titleOf(column), column.name)),
      new Option("Row number", kByRow),
    );
    this.xChoice.value = settings.x;
    for (const name of ["line", "logX", "logY"] as const) this.options[name].checked = settings[name];
    const boxes = columns.map((column) => {
      const box = el("input", {
        type: "checkbox",
        value: column.name,
        checked: settings.y.includes(column.name),
        on: { change: () => this.chosen() },
      });
      return option(box, titleOf(column));
    });
    this.yChoice.replaceChildren(el("legend", { textContent: "Up" }), ...boxes);
    this.showSwatches(settings);
  }

  /** The choice of columns is the legend too. */
  private showSwatches(settings: Settings): void {
    for (const box of this.yChoice.querySelectorAll("input")) {
      box.parentElement?.querySelector("svg")?.remove();
      const place = settings.y.indexOf(box.value);
      if (place >= 0) box.after(swatch(place));
    }
  }

  private chosen(): void {
    const boxes = [...this.yChoice.querySelectorAll("input")].filter((box) => box.checked);
    const names = boxes.map((box) => box.value);
    // In the order of their choice, so that each keeps its colour and shape.
    const kept = (this.settings?.y ?? []).filter((name) => names.includes(name));
    this.settings = {
      x: this.xChoice.value,
      y: [...new Set([...kept, ...names])],
      line: this.options.line.checked,
      logX: this.options.logX.checked,
      logY: this.options.logY.checked,
    };
    store(this.settingsKey, this.settings);
    this.showSwatches(this.settings);
    this.rebuild();
  }

  private rebuild(): void {
    this.view?.destroy();
    this.view = null;
    this.picked = null;
    void this.read();
  }

  private async read(): Promise<void> {
    const { table, settings, form } = this;
    if (table === null || settings === null || form === null || !this.isVisible) return;
    if (settings.y.length === 0) {
      this.ask();
      this.note.textContent = "Choose what to plot.";
      return;
    }
    const isLatest = this.ask();
    const byRow = settings.x === kByRow;
    const x = byRow ? (settings.y[0] ?? "") : settings.x;
    try {
      const points = await this.app.api.points(addressOf.table(form, table.name), x, settings.y);
      if (isLatest()) this.show(plotData(points, byRow), settings);
    } catch (error) {
      if (isLatest()) this.note.textContent = messageOf(error);
    }
  }

  private show(data: PlotData, settings: Settings): void {
    this.data = data;
    this.note.textContent = noteOf(data, settings);
    this.describe(data, settings);
    if (this.picked !== null && this.picked.index >= data.rows.length) this.picked = null;
    if (this.view === null) this.view = this.draw(data, settings);
    else this.view.update(data);
    this.list.open = this.list.open && data.rows.length > 0;
    this.showList();
  }

  private draw(data: PlotData, settings: Settings): PlotView {
    return new PlotView(this.canvas, data, settings, this.colours, () => this.app.api.locale, {
      pointed: (pick) => (this.readout.textContent = pick === null ? "" : this.pointText(pick)),
      chosen: (pick) => this.goTo(pick),
      selectedRow: () => this.selectedRow,
    });
  }

  /** In the table that is plotted. */
  private get selectedRow(): string | undefined {
    const { selection } = this.app;
    const isHere = selection?.form === this.form && selection?.table === this.table?.name;
    return isHere ? selection?.row : undefined;
  }

  private describe(data: PlotData, settings: Settings): void {
    const columns = data.y.map((values) => values.title).join(", ");
    const scale = settings.logX || settings.logY ? ", logarithmic" : "";
    this.canvas.setAttribute(
      "aria-label",
      `Plot of ${columns} against ${data.x.title}, ${data.rows.length} points${scale}. ` +
        "Left and right choose a point, up and down a column, Enter goes to its row.",
    );
  }

  private pressed(event: KeyboardEvent): void {
    const { data } = this;
    if (data === null || data.rows.length === 0 || event.target !== this.canvas) return;
    const now = this.picked ?? { column: 0, index: Math.max(placeOfRow(data, this.selectedRow), 0) };
    const moves: Record<string, () => Pick> = {
      ArrowLeft: () => this.neighbour(now, -1),
      ArrowRight: () => this.neighbour(now, 1),
      ArrowUp: () => ({ ...now, column: Math.max(now.column - 1, 0) }),
      ArrowDown: () => ({ ...now, column: Math.min(now.column + 1, data.y.length - 1) }),
      Home: () => ({ ...now, index: 0 }),
      End: () => ({ ...now, index: data.rows.length - 1 }),
    };
    const move = moves[event.key];
    if (move !== undefined) {
      this.picked = this.picked === null ? now : move();
      this.readout.textContent = this.pointText(this.picked);
      this.view?.mark(this.picked);
    } else if (event.key === "Enter" && this.picked !== null) {
      this.goTo(this.picked);
    } else {
      return;
    }
    event.preventDefault();
  }

  private neighbour({ column, index }: Pick, by: number): Pick {
    const last = (this.data?.rows.length ?? 1) - 1;
    return { column, index: Math.min(Math.max(index + by, 0), last) };
  }

  private goTo({ column, index }: Pick): void {
    const { data, form, table } = this;
    const row = data?.rows[index];
    const name = data?.y[column]?.name;
    if (form === null || table === null || row === undefined || name === undefined) return;
    void this.app.select(addressOf.cell(form, table.name, name, row));
  }

  private pointText({ column, index }: Pick): string {
    const { data } = this;
    const values = data?.y[column];
    if (!data || !values) return "";
    return `Row ${data.rows[index]}: ${this.valueText(data.x, index)}, ${this.valueText(values, index)}`;
  }

  private valueText(values: Values, index: number): string {
    const number = this.numbersText(values, index);
    return `${values.name} ${number}${number === "–" || values.unit === "" ? "" : ` ${values.unit}`}`;
  }

  private numbersText(values: Values, index: number): string {
    const { locale } = this.app.api;
    const min = values.min[index] ?? null;
    const max = values.max[index] ?? null;
    if (min === null || max === null) return "–";
    const bar = barOf(values, index);
    return bar === undefined ? numberText(min, locale) : `${numberText(min, locale)} .. ${numberText(max, locale)}`;
  }

  private showList(): void {
    const { data, list } = this;
    list.querySelectorAll("div").forEach((old) => old.remove());
    if (!list.open || data === null) return;
    const columns = [data.x, ...data.y];
    const head = ["Row", ...columns.map((values) => values.title)].map((text) =>
      el("th", { textContent: text, scope: "col" }),
    );
    const rows = data.rows.slice(0, kListedPoints).map((row, index) =>
      el(
        "tr",
        {},
        el("th", { textContent: row, scope: "row" }),
        ...columns.map((values) => el("td", { textContent: this.numbersText(values, index) })),
      ),
    );
    const rest = data.rows.length - rows.length;
    list.append(
      el(
        "div",
        { class: "kt-plot-list", tabIndex: 0, attrs: { role: "region", "aria-label": "Points" } },
        el("table", {}, el("thead", {}, el("tr", {}, ...head)), el("tbody", {}, ...rows)),
        rest > 0 && el("p", { class: "kt-quiet", textContent: `and ${rest} more points` }),
      ),
    );
  }

  private scene(): PlotScene | null {
    const { view, data, settings } = this;
    if (view === null || data === null || settings === null) return null;
    const { line, logX, logY } = settings;
    return {
      title: `${this.form}, ${this.table?.name}`,
      data,
      x: view.seen("x"),
      y: new Map(unitsOf(data).map((unit) => [unit, view.seen({ unit })])),
      line,
      logX,
      logY,
      locale: this.app.api.locale,
    };
  }

  private svg(): string | null {
    const scene = this.scene();
    if (scene === null) return null;
    const colours: PlotColours = {
      background: this.colours.of("--paper"),
      text: this.colours.of("--ink"),
      grid: this.colours.of("--line"),
      series: scene.data.y.map((_values, place) => this.colours.of(colourName(place))),
    };
    return plotSvg(scene, colours);
  }

  private saveSvg(): void {
    const svg = this.svg();
    if (svg !== null) this.save(new Blob([svg], { type: "image/svg+xml" }), "svg");
  }

  private async savePng(): Promise<void> {
    const svg = this.svg();
    if (svg === null) return;
    const picture = await pngOf(svg);
    if (picture === null) this.app.alert("This browser could not make the picture.");
    else this.save(picture, "png");
  }

  private save(blob: Blob, ending: string): void {
    const href = URL.createObjectURL(blob);
    const link = document.createElement("a");
    link.href = href;
    link.download = `${this.form} ${this.table?.name}.${ending}`;
    link.click();
    // The browser has taken it by then.
    window.setTimeout(() => URL.revokeObjectURL(href), 10_000);
    this.app.announce(`The plot was saved as ${ending.toUpperCase()}.`);
  }
}

function numeric(table: TableField): Column[] {
  return table.columns.filter((column) => column.type === "number");
}

function titleOf(column: Column): string {
  return column.unit === null ? column.name : `${column.name} (${column.unit})`;
}

function field(name: string, control: HTMLSelectElement): HTMLElement {
  return el("span", { class: "kt-field" }, el("label", { htmlFor: control.id, textContent: name }), control);
}

function option(control: HTMLInputElement, name: string): HTMLElement {
  return el("label", { class: "kt-option" }, control, el("span", { textContent: name }));
}

function noteOf(data: PlotData, settings: Settings): string {
  if (data.rows.length === 0) return "No row has numbers to plot.";
  const isHidden = (value: number | null) => value !== null && value <= 0;
  const hidden = data.rows.filter(
    (_row, index) =>
      (settings.logX && isHidden(data.x.middle[index] ?? null)) ||
      (settings.logY && data.y.some((values) => isHidden(values.middle[index] ?? null))),
  ).length;
  const notes = [
    data.left_out > 0 ? `${rowsText(data.left_out)} without a number for ${data.x.name} left out.` : "",
    hidden > 0 ? `${rowsText(hidden)} not above 0 left out of the logarithmic scale.` : "",
  ];
  return notes.filter(Boolean).join(" ");
}

function rowsText(count: number): string {
  return `${count} ${count === 1 ? "row" : "rows"}`;
}

/** null where the browser can not. */
async function pngOf(svg: string): Promise<Blob | null> {
  const href = URL.createObjectURL(new Blob([svg], { type: "image/svg+xml" }));
  try {
    const image = new Image();
    image.src = href;
    await image.decode();
    const canvas = el("canvas", {
      width: kPictureSize.width * kPictureScale,
      height: kPictureSize.height * kPictureScale,
    });
    canvas.getContext("2d")?.drawImage(image, 0, 0, canvas.width, canvas.height);
    return await new Promise((done) => canvas.toBlob(done, "image/png"));
  } catch {
    return null;
  } finally {
    URL.revokeObjectURL(href);
  }
}
