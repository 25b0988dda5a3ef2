// Selected cells: a rectangle between the cell where the selection began and the active one.

export interface Spot {
  row: number;
  column: number;
}

export interface Range {
  top: number;
  left: number;
  bottom: number;
  right: number;
}

export function rangeOf(a: Spot, b: Spot): Range {
  return {
    top: Math.min(a.row, b.row),
    left: Math.min(a.column, b.column),
    bottom: Math.max(a.row, b.row),
    right: Math.max(a.column, b.column),
  };
}

export const height = (range: Range) => range.bottom - range.top + 1;
export const width = (range: Range) => range.right - range.left + 1;
export const isSingle = (range: Range) => height(range) === 1 && width(range) === 1;

export function contains(range: Range, row: number, column: number): boolean {
  return row >= range.top && row <= range.bottom && column >= range.left && column <= range.right;
}

// Where Ctrl+arrow goes: to the last filled place of a run, or over empty ones to the next filled
// place, or to the end (0 or last). What `filled` does not know (undefined) ends the search.
export function edgeFrom(
  start: number,
  step: 1 | -1,
  last: number,
  filled: (at: number) => boolean | undefined,
): number {
  const end = step === 1 ? last : 0;
  if (start === end) return end;
  const inRun = filled(start) === true && filled(start + step) === true;
  for (let at = start + step; at !== end + step; at += step) {
    const known = filled(at);
    if (known === undefined) return end;
    if (inRun && !known) return at - step;
    if (!inRun && known) return at;
  }
  return end;
}

// A block repeated until it fills whole multiples of it within the range, as pasting does; the
// block itself where the range is no multiple.
export function repeatInto(block: string[][], range: Range): string[][] {
  const rows = block.length;
  const columns = block[0]?.length ?? 0;
  const fits = height(range) % rows === 0 && width(range) % columns === 0;
  if (!fits) return block;
  return Array.from({ length: height(range) }, (_, i) =>
    Array.from({ length: width(range) }, (_, j) => block[i % rows]![j % columns]!));
}
