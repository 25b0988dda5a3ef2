// How the columns of a plot are told apart: by colour and by shape.
import { el } from "../dom";

export const kShapes = ["circle", "square", "triangle", "diamond", "cross", "star"] as const;

// Around 0, 0 in a square of 2 by 2, as path data.
const kPaths: Record<(typeof kShapes)[number], string> = {
  circle: "M1 0A1 1 0 1 1 -1 0A1 1 0 1 1 1 0Z",
  square: "M-0.9 -0.9H0.9V0.9H-0.9Z",
  triangle: "M0 -1.1L1.1 0.9H-1.1Z",
  diamond: "M0 -1.25L1.25 0L0 1.25L-1.25 0Z",
  cross: "M-1 -0.6L-0.6 -1L0 -0.4L0.6 -1L1 -0.6L0.4 0L1 0.6L0.6 1L0 0.4L-0.6 1L-1 0.6L-0.4 0Z",
  star: "M0 -1.3L0.4 -0.4L1.3 0L0.4 0.4L0 1.3L-0.4 0.4L-1.3 0L-0.4 -0.4Z",
};

/** The path data of the shape of the column at this place among the y columns. */
export function shapeOf(place: number): string {
  return kPaths[kShapes[place % kShapes.length] ?? "circle"];
}

/** The name of the colour, which the page's styles give for light and for dark. */
export function colourName(place: number): string {
  return `--kt-series-${(place % kShapes.length) + 1}`;
}

/** Looks colours up that styles give by name. */
export class Colours {
  private readonly probe = el("span", { hidden: true });

  /** `host`: where the names have their meaning. */
  constructor(host: Element) {
    host.append(this.probe);
  }

  /** As canvases and pictures understand it, in the present light or dark. */
  of(name: string): string {
    this.probe.style.color = `var(${name})`;
    return getComputedStyle(this.probe).color;
  }
}

/** The mark of a column, for legends. */
export function swatch(place: number): SVGSVGElement {
  const svg = document.createElementNS("http://www.w3.org/2000/svg", "svg");
  svg.setAttribute("viewBox", "-1.5 -1.5 3 3");
  svg.setAttribute("class", `kt-swatch kt-series-${(place % kShapes.length) + 1}`);
  svg.setAttribute("aria-hidden", "true");
  const path = document.createElementNS("http://www.w3.org/2000/svg", "path");
  path.setAttribute("d", shapeOf(place));
  svg.append(path);
  return svg;
}
