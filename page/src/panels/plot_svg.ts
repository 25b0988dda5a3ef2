// A plot as a picture in a file of its own.
import {
  axisTitle,
  barOf,
  forEachPoint,
  type Box,
  type Mapping,
  type PlotData,
  type Values,
} from "./plot_data";
import { tickTexts, ticksOf, type Range } from "./plot_scales";
import { shapeOf } from "./plot_shapes";

/** What is seen of a plot at present. */
export interface PlotScene {
  title: string;
  data: PlotData;
  x: Range;
  // By unit.
  y: Map<string, Range>;
  line: boolean;
  logX: boolean;
  logY: boolean;
  locale: string;
}

export interface PlotColours {
  background: string;
  text: string;
  grid: string;
  series: string[];
}

const kWidth = 800;
const kHeight = 560;
const kFont = 14;
const kAxisWidth = 76;
const kTickX = 90;
const kTickY = 50;
const kRadius = 4;
// With more points than this they are drawn as small squares.
export const kManyPoints = 5000;
// Points nearer to one another than this can not be told apart.
const kSmallest = 0.7;

export const kPictureSize = { width: kWidth, height: kHeight };

export function plotSvg(scene: PlotScene, colours: PlotColours): string {
  return new Picture(scene, colours).text();
}

/** Characters that XML has no place for are replaced. */
function escaped(text: string): string {
  const special: Record<string, string> = { "&": "&amp;", "<": "&lt;", ">": "&gt;", '"': "&quot;" };
  return text
    .replace(/\p{Surrogate}/gu, "\ufffd")
    .replace(/[\u0000-\u0008\u000b\u000c\u000e-\u001f\ufffe\uffff]/g, "\ufffd")
    .replace(/[&<>"]/g, (character) => special[character] ?? character);
}

function place(value: number): string {
  return String(Math.round(value * 100) / 100);
}

function scaled(range: Range, from: number, to: number, isLog: boolean): (value: number) => number {
  const at = isLog ? Math.log10 : (value: number) => value;
  const min = at(range.min);
  const perUnit = (to - from) / (at(range.max) - min);
  return (value) => from + (at(value) - min) * perUnit;
}

class Picture {
  private readonly parts: string[] = [];
  private readonly box: Box;
  private readonly toX: (value: number) => number;

  constructor(
    private readonly scene: PlotScene,
    private readonly colours: PlotColours,
  ) {
    const axes = Math.max(scene.y.size, 1);
    this.box = {
      left: kAxisWidth,
      top: 72,
      right: kWidth - 24 - (axes - 1) * kAxisWidth,
      bottom: kHeight - 62,
    };
    this.toX = scaled(scene.x, this.box.left, this.box.right, scene.logX);
  }

  text(): string {
    const { background } = this.colours;
    const size = `width="${kWidth}" height="${kHeight}" viewBox="0 0 ${kWidth} ${kHeight}"`;
    this.parts.push(
      `<svg xmlns="http://www.w3.org/2000/svg" ${size} font-family="sans-serif" font-size="${kFont}">`,
      `<title>${escaped(this.scene.title)}</title>`,
      `<rect width="100%" height="100%" fill="${escaped(background)}"/>`,
      `<clipPath id="plot">${this.frame("")}</clipPath>`,
    );
    this.write(this.scene.title, kWidth / 2, 26, "middle", "font-weight=\"bold\"");
    this.legend();
    this.xAxis();
    [...this.scene.y.keys()].forEach((unit, index) => this.yAxis(unit, index));
    this.parts.push(this.frame(`fill="none" stroke="${escaped(this.colours.text)}"`));
    this.scene.data.y.forEach((values, index) => this.column(values, index));
    this.parts.push("</svg>");
    return this.parts.join("\n");
  }

  private frame(attributes: string): string {
    const { left, top, right, bottom } = this.box;
    return `<rect x="${left}" y="${top}" width="${right - left}" height="${bottom - top}" ${attributes}/>`;
  }

  private write(text: string, x: number, y: number, anchor: string, more = ""): void {
    const colour = escaped(this.colours.text);
    this.parts.push(
      `<text x="${place(x)}" y="${place(y)}" text-anchor="${anchor}" fill="${colour}" ${more}>${escaped(text)}</text>`,
    );
  }

  private rule(x1: number, y1: number, x2: number, y2: number, colour: string): void {
    this.parts.push(
      `<line x1="${place(x1)}" y1="${place(y1)}" x2="${place(x2)}" y2="${place(y2)}" stroke="${escaped(colour)}"/>`,
    );
  }

  private legend(): void {
    const columns = this.scene.data.y;
    const width = Math.min(180, (this.box.right - this.box.left) / Math.max(columns.length, 1));
    columns.forEach((values, index) => {
      const x = this.box.left + index * width;
      this.shape(index, x + 6, 50, 5);
      this.write(values.title, x + 18, 55, "start");
    });
  }

  private xAxis(): void {
    const { x, logX, locale, data } = this.scene;
    const { left, right, top, bottom } = this.box;
    const ticks = ticksOf(x, (right - left) / kTickX, logX);
    const texts = tickTexts(ticks, locale, logX);
    ticks.forEach((tick, index) => {
      const at = this.toX(tick);
      this.rule(at, top, at, bottom, this.colours.grid);
      this.rule(at, bottom, at, bottom + 5, this.colours.text);
      this.write(texts[index] ?? "", at, bottom + 20, "middle");
    });
    this.write(data.x.title, (left + right) / 2, bottom + 46, "middle");
  }

  /** The first stands on the left, others on the right of one another. */
  private yAxis(unit: string, index: number): void {
    const { data, logY, locale } = this.scene;
    const { left, right, top, bottom } = this.box;
    const range = this.scene.y.get(unit);
    if (range === undefined) return;
    const isLeft = index === 0;
    const at = isLeft ? left : right + (index - 1) * kAxisWidth;
    const out = isLeft ? -1 : 1;
    const toY = scaled(range, bottom, top, logY);
    const ticks = ticksOf(range, (bottom - top) / kTickY, logY);
    const texts = tickTexts(ticks, locale, logY);
    ticks.forEach((tick, place) => {
      const y = toY(tick);
      if (isLeft) this.rule(left, y, right, y, this.colours.grid);
      this.rule(at, y, at + out * 5, y, this.colours.text);
      this.write(texts[place] ?? "", at + out * 8, y + 5, isLeft ? "end" : "start");
    });
    if (index > 1) this.rule(at, top, at, bottom, this.colours.text);
    const title = axisTitle(data.y.filter((values) => values.unit === unit));
    const x = at + out * (kAxisWidth - 18);
    const middle = (top + bottom) / 2;
    this.write(title, x, middle, "middle", `transform="rotate(-90 ${place(x)} ${middle})"`);
  }

  private column(values: Values, index: number): void {
    const range = this.scene.y.get(values.unit);
    if (range === undefined) return;
    const { box } = this;
    const mapping: Mapping = { x: this.toX, y: scaled(range, box.bottom, box.top, this.scene.logY), box };
    const colour = escaped(this.colours.series[index] ?? "");
    this.parts.push(`<g clip-path="url(#plot)" stroke="${colour}" fill="${colour}">`);
    if (this.scene.line) this.line(values, mapping);
    const isMany = this.scene.data.rows.length > kManyPoints;
    const dots: string[] = [];
    forEachPoint(this.scene.data, values, mapping, isMany ? 1 : kSmallest, (point, left, top) => {
      this.bars(values, point, mapping, left, top);
      if (isMany) dots.push(`M${place(left - 1)} ${place(top - 1)}h2v2h-2z`);
      else this.shape(index, left, top, kRadius, "point");
    });
    if (isMany) this.parts.push(`<path d="${dots.join("")}" stroke="none"/>`);
    this.parts.push("</g>");
  }

  /** Through all points; of those above one another only the first, the ends and the last count. */
  private line(values: Values, { x, y }: Mapping): void {
    const path: string[] = [];
    let column: [number, number][] = [];
    const flush = () => {
      const tops = column.map(([, top]) => top);
      const seen = [column[0], column[tops.indexOf(Math.min(...tops))], column[tops.indexOf(Math.max(...tops))]];
      for (const point of new Set([...seen, column.at(-1)])) {
        if (point !== undefined) path.push(`${path.length === 0 ? "M" : "L"}${place(point[0])} ${place(point[1])}`);
      }
      column = [];
    };
    this.scene.data.x.middle.forEach((across, index) => {
      const up = values.middle[index] ?? null;
      if (across === null || up === null) return;
      const point: [number, number] = [x(across), y(up)];
      if (!point.every(Number.isFinite)) return;
      if (column[0] !== undefined && Math.floor(column[0][0]) !== Math.floor(point[0])) flush();
      column.push(point);
    });
    flush();
    this.parts.push(`<path d="${path.join("")}" fill="none" stroke-width="1.5"/>`);
  }

  private bars(values: Values, point: number, { x, y }: Mapping, left: number, top: number): void {
    const up = barOf(values, point);
    const across = barOf(this.scene.data.x, point);
    const path = [
      up && `M${place(left)} ${place(y(up.min))}V${place(y(up.max))}`,
      up && [up.min, up.max].map((end) => `M${place(left - 4)} ${place(y(end))}h8`).join(""),
      across && `M${place(x(across.min))} ${place(top)}H${place(x(across.max))}`,
      across && [across.min, across.max].map((end) => `M${place(x(end))} ${place(top - 4)}v8`).join(""),
    ].filter(Boolean);
    if (path.length > 0) this.parts.push(`<path class="bar" d="${path.join("")}" fill="none"/>`);
  }

  private shape(index: number, left: number, top: number, radius: number, name = "legend"): void {
    const colour = escaped(this.colours.series[index] ?? "");
    const at = `translate(${place(left)} ${place(top)}) scale(${radius})`;
    this.parts.push(
      `<path class="${name}" d="${shapeOf(index)}" transform="${at}" stroke="none" fill="${colour}"/>`,
    );
  }
}
