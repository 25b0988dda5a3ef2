// Problems of formulas for people, with the mend at hand where one is sure.
import { addressOf, type Mend, type Problem } from "../api";
import { el } from "../dom";
import type { App } from "../state";
import { button } from "./dom";

type Severity = Problem["severity"];

// Told apart by shape, colour and, for screen readers, by words.
const kMarks: Record<Severity, string> = { error: "✖", warning: "▲", note: "●" };
const kWorstFirst: Severity[] = ["error", "warning", "note"];

export function severityMark(severity: Severity): HTMLElement {
  return el("span", {
    class: `kt-mark ${severity}`,
    textContent: kMarks[severity],
    attrs: { role: "img", "aria-label": severity },
  });
}

export function mendName(mend: Mend): string {
  if (mend.length === 0) return `Insert ${mend.text}`;
  return mend.text === "" ? "Remove it" : `Replace by ${mend.text}`;
}

export function mended(formula: string, mend: Mend): string {
  return formula.slice(0, mend.start) + mend.text + formula.slice(mend.start + mend.length);
}

export function problemList(
  problems: Problem[],
  mend: (problem: Problem, mend: Mend) => void,
): HTMLElement {
  const sorted = [...problems].sort(
    (a, b) => kWorstFirst.indexOf(a.severity) - kWorstFirst.indexOf(b.severity),
  );
  return el("ul", { class: "kt-problems" }, ...sorted.map((problem) => item(problem, mend)));
}

function item(problem: Problem, mend: (problem: Problem, mend: Mend) => void): HTMLElement {
  const sure = problem.mend;
  return el(
    "li",
    { class: `kt-problem ${problem.severity}` },
    severityMark(problem.severity),
    el(
      "div",
      {},
      el("div", { textContent: problem.message }),
      problem.help && el("div", { class: "kt-quiet", textContent: problem.help }),
      sure && button(mendName(sure), () => mend(problem, sure), { class: "kt-mend" }),
    ),
  );
}

/** Mends the formula, definition or format in the notebook, unless it was changed meanwhile. */
export async function mendInNotebook(app: App, problem: Problem, mend: Mend): Promise<void> {
  const { form, table, column, definition, formula } = problem;
  if (table === null || formula === null) return;
  const text = mended(formula, mend);
  const isFormat = problem.code === "format";
  const change = () => {
    if (definition !== null) {
      const address = addressOf.column(form, table, definition);
      return app.api.setDefinition(address, { formula: text, was: formula });
    }
    const address = addressOf.column(form, table, column ?? "");
    return app.api.setFormula(address, isFormat ? { format: text } : { formula: text, was: formula });
  };
  if ((await app.run(change)) === undefined) return;
  const owner = definition === null ? `The ${isFormat ? "format" : "formula"} of ${column}` : `The definition ${definition}`;
  app.announce(`${owner} is now ${text}. Undo takes it back.`);
}
