// What the panels share for elements and answers under way.
import { el, type Extra } from "../dom";

export function button(text: string, onclick: (event: MouseEvent) => void, extra: Extra = {}): HTMLButtonElement {
  return el("button", { type: "button", textContent: text, ...extra, on: { click: onclick } });
}

/** Calls `work` once `milliseconds` have passed without another call. */
export function debounced(milliseconds: number, work: () => void): (() => void) & { stop(): void } {
  let timer = 0;
  const call = () => {
    window.clearTimeout(timer);
    timer = window.setTimeout(work, milliseconds);
  };
  return Object.assign(call, { stop: () => window.clearTimeout(timer) });
}

/** Tells of several answers under way which is the one asked for last. */
export function latest(): () => () => boolean {
  let newest = 0;
  return () => {
    const mine = ++newest;
    return () => mine === newest;
  };
}

let ids = 0;
/** An id for `for`, `aria-labelledby` and the like. */
export function freshId(): string {
  ids += 1;
  return `kt-panel-${ids}`;
}

export function messageOf(error: unknown): string {
  return error instanceof Error ? error.message : String(error);
}
