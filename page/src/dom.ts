// Elements from data: texts are texts, whatever they contain.

type Child = Node | string | null | undefined | false;
type Props<K extends keyof HTMLElementTagNameMap> = {
  [P in keyof HTMLElementTagNameMap[K]]?: HTMLElementTagNameMap[K][P] extends (...args: never[]) => unknown
    ? never
    : HTMLElementTagNameMap[K][P];
};
export interface Extra {
  class?: string;
  // Attributes: aria-*, data-*, role, for.
  attrs?: Record<string, string | number | boolean | null>;
  on?: { [E in keyof HTMLElementEventMap]?: (event: HTMLElementEventMap[E]) => void };
}

export function el<K extends keyof HTMLElementTagNameMap>(
  tag: K,
  props: Props<K> & Extra = {},
  ...children: Child[]
): HTMLElementTagNameMap[K] {
  const element = document.createElement(tag);
  const { class: className, attrs, on, ...rest } = props;
  if (className) element.className = className;
  for (const [name, value] of Object.entries(attrs ?? {})) setAttribute(element, name, value);
  for (const [name, listener] of Object.entries(on ?? {})) {
    element.addEventListener(name, listener as EventListener);
  }
  Object.assign(element, rest);
  element.append(...children.filter((child): child is Node | string => Boolean(child)));
  return element;
}

// null and false take the attribute away.
export function setAttribute(element: Element, name: string, value: string | number | boolean | null): void {
  if (value === null || value === false) element.removeAttribute(name);
  else element.setAttribute(name, value === true ? "true" : String(value));
}

// Stroked icons of 16 by 16 units, as path data.
export function icon(path: string): SVGSVGElement {
  const svg = document.createElementNS("http://www.w3.org/2000/svg", "svg");
  svg.setAttribute("viewBox", "0 0 16 16");
  svg.setAttribute("class", "icon");
  svg.setAttribute("aria-hidden", "true");
  const shape = document.createElementNS("http://www.w3.org/2000/svg", "path");
  shape.setAttribute("d", path);
  svg.append(shape);
  return svg;
}
