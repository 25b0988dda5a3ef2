// The points of a plot, ordered by their x as the drawing wants them.
import type { Points, Series } from "../api";
import { rangeOf, type Range } from "./plot_scales";

/** A column's numbers in its unit; null where there is none. */
export interface Values {
  name: string;
  // With the unit.
  title: string;
  unit: string;
  min: (number | null)[];
  max: (number | null)[];
  // In the middle of the range, where the point is drawn.
  middle: (number | null)[];
}

export interface PlotData {
  x: Values;
  y: Values[];
  rows: string[];
  // Points without a number for x, which have no place.
  left_out: number;
}

/** `byRow`: the rows' numbers stand for x. */
export function plotData(points: Points, byRow: boolean): PlotData {
  const rows = points.rows.map((_row, index) => index);
  const numbers = rows.map((row) => row + 1);
  const x: Series = byRow ? { column: "Row", unit: null, min: numbers, max: numbers } : points.x;
  const middle = middles(x);
  const order = rows.filter((row) => middle[row] !== null);
  order.sort((a, b) => (middle[a] ?? 0) - (middle[b] ?? 0));
  return {
    x: valuesIn(order, x),
    y: points.y.map((series) => valuesIn(order, series)),
    rows: order.map((row) => points.rows[row] ?? ""),
    left_out: rows.length - order.length,
  };
}

function middles({ min, max }: Series): (number | null)[] {
  return min.map((low, index) => {
    const high = max[index] ?? null;
    return low === null || high === null ? null : low === high ? low : (low + high) / 2;
  });
}

function valuesIn(order: number[], series: Series): Values {
  const unit = series.unit ?? "";
  const ordered = (values: (number | null)[]) => order.map((row) => values[row] ?? null);
  return {
    name: series.column,
    title: titleOf([series.column], unit),
    unit,
    min: ordered(series.min),
    max: ordered(series.max),
    middle: ordered(middles(series)),
  };
}

/** What stands at an axis, as "Mass, Theory (g)". */
function titleOf(names: string[], unit: string): string {
  return unit === "" ? names.join(", ") : `${names.join(", ")} (${unit})`;
}

/** The place of the row, -1 when it has none. */
export function placeOfRow(data: PlotData, row: string | undefined): number {
  return row === undefined ? -1 : data.rows.indexOf(row);
}

/** Of all the values, error bars included. */
export function extentOf(all: Values[], isLog: boolean): Range {
  const values = function* () {
    for (const { min, max } of all) {
      yield* min;
      yield* max;
    }
  };
  return rangeOf(values(), isLog);
}

/** The units of the y columns: each has an axis of its own. */
export function unitsOf(data: PlotData): string[] {
  return [...new Set(data.y.map((values) => values.unit))];
}

export function axisTitle(all: Values[]): string {
  return titleOf(all.map((values) => values.name), all[0]?.unit ?? "");
}

export interface Box {
  left: number;
  top: number;
  right: number;
  bottom: number;
}

/** Where values are drawn. */
export interface Mapping {
  x(value: number): number;
  y(value: number): number;
  box: Box;
}

/**
 * Visits the points of a column that can be told apart: of several in one square of `size` only
 * the first, so that any number of points is drawn at once.
 */
export function forEachPoint(
  data: PlotData,
  values: Values,
  { x, y, box }: Mapping,
  size: number,
  visit: (index: number, left: number, top: number) => void,
): void {
  const columns = Math.ceil((box.right - box.left) / size) + 1;
  const rows = Math.ceil((box.bottom - box.top) / size) + 1;
  const taken = new Uint8Array(Math.max(columns * rows, 0));
  for (let index = 0; index < data.rows.length; index += 1) {
    const across = data.x.middle[index] ?? null;
    const up = values.middle[index] ?? null;
    if (across === null || up === null) continue;
    const left = x(across);
    const top = y(up);
    const isInside = left >= box.left && left <= box.right && top >= box.top && top <= box.bottom;
    if (!isInside) continue;
    const square = Math.floor((top - box.top) / size) * columns + Math.floor((left - box.left) / size);
    if (taken[square] === 1) continue;
    taken[square] = 1;
    visit(index, left, top);
  }
}

/** The ends of a point's error bar: undefined where its range is one number. */
export function barOf(values: Values, index: number): Range | undefined {
  const min = values.min[index] ?? null;
  const max = values.max[index] ?? null;
  return min === null || max === null || min === max ? undefined : { min, max };
}
