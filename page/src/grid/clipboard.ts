// Blocks of cell texts as spreadsheets put them on the clipboard: cells end with a tab, rows with a
// line end, and a text with one of these, or with a quote at its start, stands in quotes, quotes
// doubled.

// For menus; keys reach the clipboard without it. Pages that come from another machine get none.
export function clipboard(): Clipboard {
  if ("clipboard" in navigator) return navigator.clipboard;
  throw new Error("this browser gives the clipboard to keys only: press Ctrl+C or Ctrl+V");
}

export function writeBlock(texts: string[][]): string {
  const text = texts.map((row) => row.map(writeCell).join("\t")).join("\n");
  // A line end at the end is none of the block's.
  return text.endsWith("\n") ? `${text}\n` : text;
}

// Rows of the same width; a block of one empty text for "". A quote that is never closed is a
// character like others.
export function readBlock(clipboard: string): string[][] {
  const text = clipboard.replace(/(\r\n|\r|\n)$/, "");
  const rows: string[][] = [[]];
  for (let at = 0; at <= text.length; ) {
    const cell = readCell(text, at);
    rows[rows.length - 1]!.push(cell.text);
    if (text[cell.end] !== "\t" && cell.end < text.length) rows.push([]);
    at = cell.end + (text.startsWith("\r\n", cell.end) ? 2 : 1);
  }
  const width = Math.max(...rows.map((row) => row.length));
  return rows.map((row) => [...row, ...Array<string>(width - row.length).fill("")]);
}

function writeCell(text: string): string {
  return /[\t\r\n]|^"/.test(text) ? `"${text.replaceAll('"', '""')}"` : text;
}

function readCell(text: string, start: number): { text: string; end: number } {
  return readQuoted(text, start) ?? readPlain(text, start);
}

function readQuoted(text: string, start: number): { text: string; end: number } | null {
  const quoted = /"((?:[^"]|"")*)"(?=[\t\r\n]|$)/y;
  quoted.lastIndex = start;
  const match = quoted.exec(text);
  return match && { text: match[1]!.replaceAll('""', '"'), end: quoted.lastIndex };
}

function readPlain(text: string, start: number): { text: string; end: number } {
  const plain = /[^\t\r\n]*/y;
  plain.lastIndex = start;
  return { text: plain.exec(text)![0], end: plain.lastIndex };
}
