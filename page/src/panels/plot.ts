// Columns of a table plotted against another: ranges as error bars, points that are rows of the
// grid, drawn anew as cells change.
import uPlot from "uplot";
import "uplot/dist/uPlot.min.css";
import { addressOf, type Column, type TableField } from "../api";
import { el } from "../dom";
import type { App, Panel } from "../state";
import { button, debounced, freshId, latest, messageOf } from "./dom";
import {
  axisTitle,
  barOf,
  extentOf,
  forEachPoint,
  placeOfRow,
  plotData,
  unitsOf,
  type Mapping,
  type PlotData,
  type Values,
} from "./plot_data";
import { numberText, tickTexts, ticksOf, type Range } from "./plot_scales";
import { colourName, Colours, shapeOf, swatch } from "./plot_shapes";
import { kPictureSize, plotSvg, type PlotColours, type PlotScene } from "./plot_svg";

const kUpdateDelay = 200;
// As near as a pointer must come to a point, and half the size of a point.
const kReach = 14;
const kRadius = 4;
// With more points than this they are drawn as small squares.
const kManyPoints = 5000;
const kListedPoints = 1000;
const kTickX = 80;
const kTickY = 40;
// About what the other axis takes.
const kAxisSpace = 80;
const kPictureScale = 2;
// Stands for the rows' numbers in the choice of x; no column has an empty name.
const kByRow = "";

interface Settings {
  x: string;
  y: string[];
  line: boolean;
  logX: boolean;
  logY: boolean;
}

/** A point of one of the y columns. */
interface Pick {
  column: number;
  index: number;
}

export function mountPlot(host: HTMLElement, app: App): Panel {
  return new PlotPanel(host, app);
}

class PlotPanel implements Panel {
  readonly title = "Plot";
  private plot: uPlot | null = null;
  private data: PlotData | null = null;
  private settings: Settings | null = null;
  private table: TableField | null = null;
  // Chosen here, while the grid shows another.
  private chosenTable: string | null = null;
  private form: string | null = null;
  private isZoomed = false;
  private picked: Pick | null = null;
  private pressedAt: [number, number] = [0, 0];
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
      button("+", () => this.zoom(0.5), { attrs: { "aria-label": "Zoom in", title: "Zoom in" } }),
      button("−", () => this.zoom(2), { attrs: { "aria-label": "Zoom out", title: "Zoom out" } }),
      button("Fit", () => this.fit(), { attrs: { title: "Show all points" } }),
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
      option(this.options.logX, "Log across"),
      option(this.options.logY, "Log up"),
      this.yChoice,
    ),
    el("div", { class: "kt-panel-content" }, this.note, this.body),
  );
  private readonly sizes = new ResizeObserver(() => this.resize());
  private readonly recolour = () => this.plot?.redraw(false, true);
  // Light or dark: as the system has it, or as it is chosen on the page.
  private readonly system = matchMedia("(prefers-color-scheme: dark)");
  private readonly theme = new MutationObserver(this.recolour);
  private readonly colours = new Colours(this.root);

  constructor(
    host: HTMLElement,
    private readonly app: App,
  ) {
    host.append(this.root);
    this.sizes.observe(this.canvas);
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
    this.sizes.disconnect();
    this.update.stop();
    this.plot?.destroy();
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
    else this.plot?.redraw(false, false);
  }

  private get settingsKey(): string {
    return `kt-plot:${addressOf.table(this.form ?? "", this.table?.name ?? "")}`;
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
    this.settings = {
      x: this.xChoice.value,
      y: boxes.map((box) => box.value),
      line: this.options.line.checked,
      logX: this.options.logX.checked,
      logY: this.options.logY.checked,
    };
    store(this.settingsKey, this.settings);
    this.showSwatches(this.settings);
    this.rebuild();
  }

  private rebuild(): void {
    this.plot?.destroy();
    this.plot = null;
    this.isZoomed = false;
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
    if (this.plot === null) this.plot = this.make(data, settings);
    else if (this.isZoomed) this.keepZoom(this.plot, () => this.plot?.setData(alignedData(data, settings), false));
    else this.plot.setData(alignedData(data, settings));
    this.list.open = this.list.open && data.rows.length > 0;
    this.showList();
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

  private make(data: PlotData, settings: Settings): uPlot {
    const units = unitsOf(data);
    const scales: Record<string, uPlot.Scale> = { x: this.scale((min, max) => this.rangeAcross(min, max), settings.logX) };
    for (const unit of units) {
      scales[scaleKey(unit)] = this.scale(() => this.rangeUp(unit), settings.logY);
    }
    const colour = (place: number) => () => this.colours.of(colourName(place));
    const options: uPlot.Options = {
      ...this.size(),
      scales,
      axes: [
        this.axis("x", data.x.title, 2, settings.logX, kTickX),
        ...units.map((unit, index) => {
          const title = axisTitle(data.y.filter((values) => values.unit === unit));
          return this.axis(scaleKey(unit), title, index === 0 ? 3 : 1, settings.logY, kTickY);
        }),
      ],
      series: [
        {},
        ...data.y.map((values, place) => ({
          scale: scaleKey(values.unit),
          stroke: colour(place),
          width: 1.5,
          spanGaps: true,
          points: { show: false },
          ...(settings.line ? {} : { paths: () => null }),
        })),
      ],
      legend: { show: false },
      cursor: {
        points: { show: false },
        drag: { x: true, y: true, uni: 30 },
        bind: {
          dblclick: () => () => {
            this.fit();
            return null;
          },
        },
      },
      hooks: {
        draw: [(plot) => this.draw(plot)],
        setCursor: [(plot) => this.pointed(plot)],
        setSelect: [
          (plot) => {
            this.isZoomed ||= plot.select.width > 0 || plot.select.height > 0;
          },
        ],
      },
    };
    const plot = new uPlot(options, alignedData(data, settings), this.canvas);
    plot.over.addEventListener("pointerdown", (event) => (this.pressedAt = [event.clientX, event.clientY]));
    plot.over.addEventListener("click", (event) => this.clicked(plot, event));
    return plot;
  }

  private scale(range: (min: number | null, max: number | null) => Range, isLog: boolean): uPlot.Scale {
    return {
      time: false,
      distr: isLog ? 3 : 1,
      range: (_plot, from, to) => {
        const { min, max } = range(from, to);
        return [min, max];
      },
    };
  }

  /** What was zoomed to; of all that is to be seen when the ends of the points are asked for. */
  private rangeAcross(min: number | null, max: number | null): Range {
    const { data, settings } = this;
    if (data === null || settings === null) return { min: 0, max: 1 };
    const ends = data.x.middle;
    const isWhole = min === null || max === null || (min === ends[0] && max === ends.at(-1));
    return isWhole ? extentOf([data.x], settings.logX) : { min, max };
  }

  private rangeUp(unit: string): Range {
    const { data, settings } = this;
    if (data === null || settings === null) return { min: 0, max: 1 };
    return extentOf(
      data.y.filter((values) => values.unit === unit),
      settings.logY,
    );
  }

  private axis(scale: string, label: string, side: number, isLog: boolean, space: number): uPlot.Axis {
    const isAcross = side === 2;
    return {
      scale,
      side,
      label,
      labelSize: 22,
      size: isAcross ? 34 : (plot, values) => axisWidth(plot, values),
      font: "12px system-ui, sans-serif",
      labelFont: "13px system-ui, sans-serif",
      stroke: () => this.colours.of("--ink"),
      grid: { show: side !== 1, stroke: () => this.colours.of("--line"), width: 1 },
      ticks: { stroke: () => this.colours.of("--ink"), size: 4, width: 1 },
      border: { show: true, stroke: () => this.colours.of("--ink"), width: 1 },
      splits: (plot, _axis, min, max) => {
        const length = isAcross ? plot.width - kAxisSpace : plot.height - kAxisSpace;
        return ticksOf({ min, max }, length / space, isLog);
      },
      filter: (_plot, splits) => splits,
      values: (_plot, splits) => tickTexts(splits, this.app.api.locale, isLog),
    };
  }

  private size(): { width: number; height: number } {
    const width = Math.max(this.canvas.clientWidth, 240);
    return { width, height: Math.round(Math.min(Math.max(width * 0.75, 240), 480)) };
  }

  private resize(): void {
    if (this.plot !== null && this.canvas.clientWidth !== this.plot.width) this.plot.setSize(this.size());
  }

  private mapping(plot: uPlot, values: Values): Mapping {
    const { left, top, width, height } = plot.bbox;
    return {
      x: (value) => plot.valToPos(value, "x", true),
      y: (value) => plot.valToPos(value, scaleKey(values.unit), true),
      box: { left, top, right: left + width, bottom: top + height },
    };
  }

  private draw(plot: uPlot): void {
    const { data } = this;
    if (data === null) return;
    const { ctx } = plot;
    const { left, top, width, height } = plot.bbox;
    ctx.save();
    ctx.beginPath();
    ctx.rect(left, top, width, height);
    ctx.clip();
    data.y.forEach((values, place) => this.drawColumn(plot, data, values, place));
    this.drawMarked(plot, data);
    ctx.restore();
  }

  private drawColumn(plot: uPlot, data: PlotData, values: Values, place: number): void {
    const { ctx } = plot;
    const mapping = this.mapping(plot, values);
    const shape = new Path2D(shapeOf(place));
    const isMany = data.rows.length > kManyPoints;
    const radius = kRadius * devicePixelRatio;
    ctx.fillStyle = ctx.strokeStyle = this.colours.of(colourName(place));
    ctx.lineWidth = devicePixelRatio;
    forEachPoint(data, values, mapping, 1, (index, left, top) => {
      drawBars(ctx, mapping, data, values, index, left, top);
      if (isMany) ctx.fillRect(left - radius / 4, top - radius / 4, radius / 2, radius / 2);
      else fillAt(ctx, shape, left, top, radius);
    });
  }

  /** The selected row's points, and the one that was gone to by keys. */
  private drawMarked(plot: uPlot, data: PlotData): void {
    const { ctx } = plot;
    const { selection } = this.app;
    const isHere = selection?.form === this.form && selection?.table === this.table?.name;
    const row = isHere ? placeOfRow(data, selection?.row) : -1;
    ctx.strokeStyle = this.colours.of("--ink");
    ctx.lineWidth = 2 * devicePixelRatio;
    data.y.forEach((values, column) => {
      if (row >= 0) this.ring(plot, data, values, row, 2);
      if (this.picked?.column === column) this.ring(plot, data, values, this.picked.index, 2.8);
    });
  }

  private ring(plot: uPlot, data: PlotData, values: Values, index: number, size: number): void {
    const across = data.x.middle[index] ?? null;
    const up = values.middle[index] ?? null;
    if (across === null || up === null) return;
    const { x, y } = this.mapping(plot, values);
    plot.ctx.beginPath();
    plot.ctx.arc(x(across), y(up), size * kRadius * devicePixelRatio, 0, 2 * Math.PI);
    plot.ctx.stroke();
  }

  /** The point at, or near, a place over the plot, in CSS pixels. */
  private nearest(plot: uPlot, left: number, top: number): Pick | null {
    const { data } = this;
    if (data === null) return null;
    const places = data.x.middle as number[];
    const from = firstNotBelow(places, plot.posToVal(left - kReach, "x"));
    const to = firstNotBelow(places, plot.posToVal(left + kReach, "x"));
    let best: Pick | null = null;
    let reach = kReach;
    data.y.forEach((values, column) => {
      for (let index = from; index < to; index += 1) {
        const up = values.middle[index] ?? null;
        if (up === null) continue;
        const across = plot.valToPos(places[index] ?? 0, "x") - left;
        const distance = Math.hypot(across, plot.valToPos(up, scaleKey(values.unit)) - top);
        if (distance >= reach) continue;
        reach = distance;
        best = { column, index };
      }
    });
    return best;
  }

  private pointed(plot: uPlot): void {
    const { left, top } = plot.cursor;
    if (left === undefined || top === undefined || left < 0) return;
    const pick = this.nearest(plot, left, top);
    plot.over.classList.toggle("kt-on-point", pick !== null);
    this.readout.textContent = pick === null ? "" : this.pointText(pick);
  }

  private clicked(plot: uPlot, event: MouseEvent): void {
    const [x, y] = this.pressedAt;
    const isDrag = Math.hypot(event.clientX - x, event.clientY - y) > 4;
    const pick = isDrag ? null : this.nearest(plot, event.offsetX, event.offsetY);
    if (pick !== null) this.goTo(pick);
  }

  private pressed(event: KeyboardEvent): void {
    const { data } = this;
    if (data === null || data.rows.length === 0 || event.target !== this.canvas) return;
    const now = this.picked ?? { column: 0, index: Math.max(placeOfRow(data, this.app.selection?.row), 0) };
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
      this.plot?.redraw(false, false);
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

  private keepZoom(plot: uPlot, change: () => void): void {
    const ranges = rangesOf(plot);
    plot.batch(() => {
      change();
      for (const [key, range] of ranges) plot.setScale(key, range);
    });
  }

  /** About the middle. */
  private zoom(factor: number): void {
    const { plot, settings } = this;
    if (plot === null || settings === null) return;
    this.isZoomed = true;
    plot.batch(() => {
      for (const [key, range] of rangesOf(plot)) {
        plot.setScale(key, stretched(range, factor, key === "x" ? settings.logX : settings.logY));
      }
    });
  }

  private fit(): void {
    const { plot, data, settings } = this;
    if (plot === null || data === null || settings === null) return;
    this.isZoomed = false;
    plot.setData(alignedData(data, settings), true);
  }

  private scene(): PlotScene | null {
    const { plot, data, settings } = this;
    if (plot === null || data === null || settings === null) return null;
    const ranges = rangesOf(plot);
    const range = (key: string) => ranges.get(key) ?? { min: 0, max: 1 };
    const { line, logX, logY } = settings;
    return {
      title: `${this.form}, ${this.table?.name}`,
      data,
      x: range("x"),
      y: new Map(unitsOf(data).map((unit) => [unit, range(scaleKey(unit))])),
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

function stored(key: string): Partial<Settings> | null {
  try {
    const value: unknown = JSON.parse(localStorage.getItem(key) ?? "null");
    return typeof value === "object" ? value : null;
  } catch {
    return null;
  }
}

/** Without a place to keep them, the settings are forgotten with the page. */
function store(key: string, settings: Settings): void {
  try {
    localStorage.setItem(key, JSON.stringify(settings));
  } catch {
    return;
  }
}

/** By the keys of the scales: what is seen at present. */
function rangesOf(plot: uPlot): Map<string, Range> {
  const ranges = new Map<string, Range>();
  for (const [key, { min, max }] of Object.entries(plot.scales)) {
    if (min != null && max != null) ranges.set(key, { min, max });
  }
  return ranges;
}

function scaleKey(unit: string): string {
  return `y ${unit}`;
}

/** Logarithmic axes have no place for what is not above 0. */
function alignedData(data: PlotData, settings: Settings): uPlot.AlignedData {
  const placed = (values: Values) =>
    values.middle.map((value) => (settings.logY && value !== null && value <= 0 ? null : value));
  return [data.x.middle as number[], ...data.y.map(placed)];
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

function axisWidth(plot: uPlot, values: string[] | null): number {
  const longest = Math.max(...(values ?? []).map((text) => text.length), 1);
  return Math.max(Math.ceil(longest * 7.2) + 14, plot.width / 12);
}

function firstNotBelow(sorted: number[], value: number): number {
  let from = 0;
  let to = sorted.length;
  while (from < to) {
    const middle = (from + to) >> 1;
    if ((sorted[middle] ?? 0) < value) from = middle + 1;
    else to = middle;
  }
  return from;
}

function fillAt(ctx: CanvasRenderingContext2D, shape: Path2D, left: number, top: number, radius: number): void {
  ctx.save();
  ctx.translate(left, top);
  ctx.scale(radius, radius);
  ctx.fill(shape);
  ctx.restore();
}

function drawBars(
  ctx: CanvasRenderingContext2D,
  { x, y }: Mapping,
  data: PlotData,
  values: Values,
  index: number,
  left: number,
  top: number,
): void {
  const cap = 3 * devicePixelRatio;
  const up = barOf(values, index);
  const across = barOf(data.x, index);
  if (up === undefined && across === undefined) return;
  ctx.beginPath();
  if (up !== undefined) {
    for (const end of [y(up.min), y(up.max)]) rule(ctx, left - cap, end, left + cap, end);
    rule(ctx, left, y(up.min), left, y(up.max));
  }
  if (across !== undefined) {
    for (const end of [x(across.min), x(across.max)]) rule(ctx, end, top - cap, end, top + cap);
    rule(ctx, x(across.min), top, x(across.max), top);
  }
  ctx.stroke();
}

function rule(ctx: CanvasRenderingContext2D, x1: number, y1: number, x2: number, y2: number): void {
  ctx.moveTo(x1, y1);
  ctx.lineTo(x2, y2);
}

function stretched({ min, max }: Range, factor: number, isLog: boolean): Range {
  const to = isLog ? Math.log10 : (value: number) => value;
  const back = isLog ? (value: number) => Math.pow(10, value) : (value: number) => value;
  const middle = (to(min) + to(max)) / 2;
  const half = ((to(max) - to(min)) / 2) * factor;
  return { min: back(middle - half), max: back(middle + half) };
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
