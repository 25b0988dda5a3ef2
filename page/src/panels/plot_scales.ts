// Ranges and ticks of a plot's axes, the same on the screen and in exported pictures.

export interface Range {
  min: number;
  max: number;
}

/** Of what is to be seen, with room around it; a logarithmic axis has no place for what is not above 0. */
export function rangeOf(values: Iterable<number | null>, isLog: boolean): Range {
  let min = Infinity;
  let max = -Infinity;
  for (const value of values) {
    if (value === null || !Number.isFinite(value) || (isLog && value <= 0)) continue;
    if (value < min) min = value;
    if (value > max) max = value;
  }
  if (min > max) return isLog ? { min: 0.1, max: 10 } : { min: 0, max: 1 };
  return isLog ? paddedLog(min, max) : padded(min, max);
}

function padded(min: number, max: number): Range {
  const room = (max - min) * 0.06 || Math.abs(max) * 0.1 || 1;
  return { min: min - room, max: max + room };
}

function paddedLog(min: number, max: number): Range {
  const room = Math.max(Math.pow(max / min, 0.06), 1.1);
  return { min: min / room, max: max * room };
}

/** At most about `count` round numbers in the range. */
export function ticksOf({ min, max }: Range, count: number, isLog: boolean): number[] {
  const decades = isLog ? logTicks(min, max, count) : [];
  return decades.length >= 2 ? decades : linearTicks(min, max, count);
}

function linearTicks(min: number, max: number, count: number): number[] {
  const step = roundStep((max - min) / Math.max(count, 1));
  if (!(step > 0)) return [];
  const ticks = [];
  for (let at = Math.ceil(min / step); at * step <= max; at += 1) ticks.push(rounded(at * step));
  return ticks;
}

/** 1, 2 or 5 times a power of ten, not below the number. */
function roundStep(wanted: number): number {
  const power = Math.pow(10, Math.floor(Math.log10(wanted)));
  const factor = [1, 2, 5, 10].find((one) => one * power >= wanted * (1 - 1e-9)) ?? 10;
  return factor * power;
}

function logTicks(min: number, max: number, count: number): number[] {
  const first = Math.floor(Math.log10(min));
  const last = Math.ceil(Math.log10(max));
  const every = Math.ceil((last - first) / Math.max(count, 1));
  const factors = (last - first) * 3 <= count ? [1, 2, 5] : [1];
  const ticks = [];
  for (let power = first; power <= last; power += every) {
    for (const factor of factors) ticks.push(rounded(factor * Math.pow(10, power)));
  }
  return ticks.filter((tick) => tick >= min && tick <= max);
}

/** Without the noise of binary arithmetic. */
function rounded(value: number): number {
  return Number(value.toPrecision(12));
}

/**
 * The ticks' texts in a locale such as "de_DE", with as many decimals as tell them apart; each with
 * its own on a logarithmic axis.
 */
export function tickTexts(ticks: number[], locale: string, isLog: boolean): string[] {
  const largest = Math.max(...ticks.map(Math.abs));
  const isFar = largest >= 1e6 || (largest > 0 && largest < 1e-3);
  if (isLog || isFar) return ticks.map((tick) => numberText(tick, locale));
  const decimals = Math.max(0, ...ticks.map((tick) => (String(tick).split(".")[1] ?? "").length));
  const format = numberFormat(locale, { minimumFractionDigits: decimals, maximumFractionDigits: decimals });
  return ticks.map((tick) => format.format(tick));
}

/** A number for reading: six digits tell a point from its neighbours. */
export function numberText(value: number, locale: string): string {
  const size = Math.abs(value);
  const notation = size !== 0 && (size >= 1e6 || size < 1e-3) ? "scientific" : "standard";
  return numberFormat(locale, { maximumSignificantDigits: 6, notation }).format(value);
}

function numberFormat(locale: string, options: Intl.NumberFormatOptions): Intl.NumberFormat {
  const language = locale === "" || locale === "C" ? "en" : locale.replace("_", "-");
  const all = { useGrouping: false, ...options };
  try {
    return new Intl.NumberFormat(language, all);
  } catch {
    return new Intl.NumberFormat("en", all);
  }
}
