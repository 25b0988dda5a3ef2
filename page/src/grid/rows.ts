// Rows of one table, fetched in windows while they are looked at. Only so many are kept.
import type { RowData, Rows } from "../api";

export const windowSize = 200;
// 20 windows are 4,000 rows: many screens, some megabytes.
const maxWindows = 20;
const maxRequests = 2;

interface RowWindow {
  rows: RowData[];
  // False when cells have changed since it was fetched: shown, and fetched again.
  fresh: boolean;
}

export interface RowSource {
  rows(from: number, count: number): Promise<Rows>;
  // The newest version of the form that the page knows of.
  version(): number;
}

export class RowCache {
  count: number;
  private readonly windows = new Map<number, RowWindow>();
  private readonly loading = new Set<number>();
  private wanted: number[] = [];
  private places: Map<string, number> | null = null;
  private ended = false;

  // `changed` is called whenever rows have come; `failed` with what a request was refused for.
  constructor(
    private readonly source: RowSource,
    count: number,
    private readonly changed: () => void,
    private readonly failed: (error: unknown) => void,
  ) {
    this.count = count;
  }

  row(index: number): RowData | undefined {
    return this.windows.get(Math.floor(index / windowSize))?.rows[index % windowSize];
  }

  // Where a row stands, if it is kept.
  indexOf(id: string): number | undefined {
    this.places ??= this.readPlaces();
    return this.places.get(id);
  }

  // What is on the screen, with the windows before and behind it.
  want(first: number, last: number): void {
    const from = Math.floor(Math.max(first, 0) / windowSize);
    const to = Math.floor(Math.max(last, 0) / windowSize);
    const here = Array.from({ length: to - from + 1 }, (_, i) => from + i);
    this.wanted = [...here, to + 1, from - 1].filter((at) => this.exists(at));
    this.fetchNext();
  }

  // All that is kept is shown until it has been fetched again.
  outdate(): void {
    for (const window of this.windows.values()) window.fresh = false;
    this.fetchNext();
  }

  // Cells that a change has changed; rows that are not kept are left out.
  apply(rows: RowData[]): void {
    for (const changed of rows) {
      const index = this.indexOf(changed.id);
      const row = index === undefined ? undefined : this.row(index);
      if (row) Object.assign(row.cells, changed.cells);
    }
  }

  // Rows for a purpose of their own, from what is kept where it is all there.
  async read(from: number, to: number): Promise<RowData[]> {
    const kept = Array.from({ length: to - from }, (_, i) => this.row(from + i));
    if (kept.every((row): row is RowData => row !== undefined)) return kept;
    const rows: RowData[] = [];
    for (let at = from; at < to; at += 1000) {
      rows.push(...(await this.source.rows(at, Math.min(1000, to - at))).rows);
    }
    return rows;
  }

  end(): void {
    this.ended = true;
    this.wanted = [];
  }

  private exists(at: number): boolean {
    return at >= 0 && (at === 0 || at * windowSize < this.count);
  }

  private readPlaces(): Map<string, number> {
    const places = new Map<string, number>();
    for (const [at, window] of this.windows) {
      window.rows.forEach((row, i) => places.set(row.id, at * windowSize + i));
    }
    return places;
  }

  private fetchNext(): void {
    for (const at of this.wanted) {
      if (this.loading.size >= maxRequests) return;
      if (!this.loading.has(at) && !this.windows.get(at)?.fresh) void this.fetch(at);
    }
  }

  private async fetch(at: number): Promise<void> {
    this.loading.add(at);
    try {
      const answer = await this.source.rows(at * windowSize, windowSize);
      if (!this.ended) this.keep(at, answer);
    } catch (error) {
      this.wanted = this.wanted.filter((other) => other !== at);
      if (!this.ended) this.failed(error);
    } finally {
      this.loading.delete(at);
    }
    if (this.ended) return;
    this.changed();
    this.fetchNext();
  }

  private keep(at: number, answer: Rows): void {
    const fresh = answer.version >= this.source.version();
    // What is shown may contain the answer of a change that this one has not seen.
    if (fresh || !this.windows.has(at)) {
      this.windows.delete(at);
      this.windows.set(at, { rows: answer.rows, fresh });
      this.places = null;
    }
    if (fresh) this.count = answer.count;
    this.dropOldest();
  }

  private dropOldest(): void {
    for (const at of this.windows.keys()) {
      if (this.windows.size <= maxWindows) return;
      if (!this.wanted.includes(at)) this.windows.delete(at);
    }
    this.places = null;
  }
}
