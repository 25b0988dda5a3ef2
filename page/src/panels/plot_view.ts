// A plot on the screen: points with their error bars, zoomed and pointed at.
import uPlot from "uplot";
import "uplot/dist/uPlot.min.css";
import {
  axisTitle,
  barOf,
  extentOf,
  forEachPoint,
  placeOfRow,
  unitsOf,
  type Mapping,
  type PlotData,
  type Values,
} from "./plot_data";
import { tickTexts, ticksOf, type Range } from "./plot_scales";
import type { Settings } from "./plot_settings";
import { colourName, shapeOf, type Colours } from "./plot_shapes";
import { kManyPoints } from "./plot_svg";

// As near as a pointer must come to a point, and half the size of a point.
const kReach = 14;
const kRadius = 4;
const kTickX = 80;
const kTickY = 40;
// About what the other axis takes.
const kAxisSpace = 80;

/** A point of one of the y columns. */
export interface Pick {
  column: number;
  index: number;
}

export interface PlotEvents {
  /** The pointer is at a point, or at none. */
  pointed(pick: Pick | null): void;
  /** A point was clicked. */
  chosen(pick: Pick): void;
  /** The row whose points are marked. */
  selectedRow(): string | undefined;
}

export class PlotView {
  private readonly plot: uPlot;
  private isZoomed = false;
  private picked: Pick | null = null;
  private pressedAt: [number, number] = [0, 0];
  private readonly sizes = new ResizeObserver(() => this.resize());

  constructor(
    private readonly host: HTMLElement,
    private data: PlotData,
    private readonly settings: Settings,
    private readonly colours: Colours,
    private readonly locale: () => string,
    private readonly events: PlotEvents,
  ) {
    const plot = new uPlot(this.options(), alignedData(data, settings), host);
    plot.over.addEventListener("pointerdown", (event) => (this.pressedAt = [event.clientX, event.clientY]));
    plot.over.addEventListener("click", (event) => this.clicked(plot, event));
    this.plot = plot;
    this.sizes.observe(host);
  }

  destroy(): void {
    this.sizes.disconnect();
    this.plot.destroy();
  }

  /** Other numbers for the same columns; what is zoomed to stays. */
  update(data: PlotData): void {
    this.data = data;
    const aligned = alignedData(data, this.settings);
    if (this.isZoomed) this.keepZoom(this.plot, () => this.plot.setData(aligned, false));
    else this.plot.setData(aligned);
  }

  /** Marks a point besides those of the selected row. */
  mark(pick: Pick): void {
    this.picked = pick;
    this.redraw();
  }

  /** Colours, or the selected row, are others. */
  redraw(): void {
    this.plot.redraw(false, true);
  }

  /** What is seen of the axis at present; units are those of y. */
  seen(axis: "x" | { unit: string }): Range {
    return rangesOf(this.plot).get(axis === "x" ? "x" : scaleKey(axis.unit)) ?? { min: 0, max: 1 };
  }

  private keepZoom(plot: uPlot, change: () => void): void {
    const ranges = rangesOf(plot);
    plot.batch(() => {
      change();
      for (const [key, range] of ranges) plot.setScale(key, range);
    });
  }

  /** About the middle: below 1 goes in. */
  zoom(factor: number): void {
    const { plot, settings } = this;
    this.isZoomed = true;
    plot.batch(() => {
      for (const [key, range] of rangesOf(plot)) {
        plot.setScale(key, stretched(range, factor, key === "x" ? settings.logX : settings.logY));
      }
    });
  }

  /** Shows all points. */
  fit(): void {
    this.isZoomed = false;
    this.plot.setData(alignedData(this.data, this.settings), true);
  }

  private options(): uPlot.Options {
    const { data, settings } = this;
    const units = unitsOf(data);
    const scales: Record<string, uPlot.Scale> = {
      x: this.scale((min, max) => this.rangeAcross(min, max), settings.logX),
    };
    for (const unit of units) {
      scales[scaleKey(unit)] = this.scale(() => this.rangeUp(unit), settings.logY);
    }
    const colour = (place: number) => () => this.colours.of(colourName(place));
    return {
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
    const ends = data.x.middle;
    const isWhole = min === null || max === null || (min === ends[0] && max === ends.at(-1));
    return isWhole ? extentOf([data.x], settings.logX) : { min, max };
  }

  private rangeUp(unit: string): Range {
    const { data, settings } = this;
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
      values: (_plot, splits) => tickTexts(splits, this.locale(), isLog),
    };
  }

  private size(): { width: number; height: number } {
    const width = Math.max(this.host.clientWidth, 240);
    return { width, height: Math.round(Math.min(Math.max(width * 0.75, 240), 480)) };
  }

  private resize(): void {
    if (this.host.clientWidth !== this.plot.width) this.plot.setSize(this.size());
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
    const row = placeOfRow(data, this.events.selectedRow());
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
    this.events.pointed(pick);
  }

  private clicked(plot: uPlot, event: MouseEvent): void {
    const [x, y] = this.pressedAt;
    const isDrag = Math.hypot(event.clientX - x, event.clientY - y) > 4;
    const pick = isDrag ? null : this.nearest(plot, event.offsetX, event.offsetY);
    if (pick !== null) this.events.chosen(pick);
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
