// The parts of a formula as they are coloured while it is typed. What they mean, and whether they
// are right, the server says.

export type TokenKind =
  | "reference"
  | "text"
  | "number"
  | "function"
  | "operator"
  | "parenthesis"
  | "blank"
  | "other";

export interface Token {
  end: number;
  kind: TokenKind;
}

const kKinds: [TokenKind, RegExp][] = [
  ["blank", /\s+/y],
  ["reference", /\[[^\]]*\]?/y],
  ["text", /'(?:[^']|'')*'?|"(?:[^"]|"")*"?/y],
  ["number", /\d+(?:\.\d*)?|\.\d*|(?:TRUE|FALSE)\b/iy],
  ["operator", /(?:AND|OR|XOR|NOT)\b|[+\-*/%&=<>!]+/iy],
  ["function", /[\p{L}_][\p{L}\p{N}_]*(?=\s*\()/uy],
  ["other", /[\p{L}_][\p{L}\p{N}_]*/uy],
  ["parenthesis", /[()]/y],
];

/** The part of `text` that begins at `start`. */
export function tokenAt(text: string, start: number): Token {
  for (const [kind, pattern] of kKinds) {
    pattern.lastIndex = start;
    const match = pattern.exec(text);
    if (match) return { end: start + match[0].length, kind };
  }
  return { end: start + 1, kind: "other" };
}

/** A formula for reading, in which ranges can be marked. */
export interface FormulaView {
  element: HTMLElement;
  /** Marks what overlaps the range; none without arguments. */
  mark(start?: number, length?: number, className?: string): void;
}

export function viewFormula(formula: string): FormulaView {
  const element = document.createElement("code");
  element.className = "kt-formula";
  const parts: { start: number; end: number; span: HTMLElement }[] = [];
  for (let start = 0; start < formula.length; ) {
    const { end, kind } = tokenAt(formula, start);
    const span = document.createElement("span");
    span.className = `kt-token-${kind}`;
    span.textContent = formula.slice(start, end);
    element.append(span);
    parts.push({ start, end, span });
    start = end;
  }
  const mark = (start = 0, length = 0, className = "kt-marked") => {
    for (const part of parts) {
      const isIn = part.start < start + length && part.end > start;
      part.span.classList.toggle(className, isIn);
    }
  };
  return { element, mark };
}
