// Why the selected cell shows what it shows: what it is computed from, each input a link, what
// decided its digits and its unit, and what is wrong with it, with the mend where one is sure.
import type { Explanation, Problem, Step, StoryLine } from "../api";
import { el } from "../dom";
import type { App, Panel } from "../state";
import { button, debounced, latest, messageOf } from "./dom";
import { viewFormula, type FormulaView } from "./formula_tokens";
import { mendInNotebook, problemList, severityMark } from "./problems";

const kMoveDelay = 40;
const kChangeDelay = 150;
const kFirstDepth = 3;
const kMoreDepth = 3;
// Beyond so many steps only the cell's own inputs, and what leads to an error, are unfolded.
const kUnfoldedSteps = 12;

const kCellWords: Record<string, string> = {
  typed: "typed in",
  noted: "noted",
  computed: "computed",
  empty: "nothing was typed in",
};

const kStepWords: Record<string, string> = {
  typed: "typed into ",
  noted: "noted in ",
  computed: "computed in ",
  empty: "nothing is in ",
};

/** Cells visited by links, as a browser keeps its pages. */
class Trail {
  private readonly back: string[] = [];
  private readonly forward: string[] = [];

  get canGoBack(): boolean {
    return this.back.length > 0;
  }
  get canGoForward(): boolean {
    return this.forward.length > 0;
  }
  follow(from: string): void {
    this.back.push(from);
    this.forward.length = 0;
  }
  goBack(from: string): string | undefined {
    return move(this.back, this.forward, from);
  }
  goForward(from: string): string | undefined {
    return move(this.forward, this.back, from);
  }
}

function move(source: string[], target: string[], from: string): string | undefined {
  const to = source.pop();
  if (to !== undefined) target.push(from);
  return to;
}

export function mountWhy(host: HTMLElement, app: App): Panel {
  const trail = new Trail();
  const ask = latest();
  let shown: string | null = null;
  let depth = kFirstDepth;

  const back = button("←", (event) => void walk(trail.goBack(shown ?? ""), event), {
    attrs: { "aria-label": "Back to the cell before", title: "Back" },
  });
  const forward = button("→", (event) => void walk(trail.goForward(shown ?? ""), event), {
    attrs: { "aria-label": "Forward to the next cell", title: "Forward" },
  });
  const place = el("span", { class: "kt-why-place" });
  const content = el("div", { class: "kt-panel-content" });
  const root = el(
    "section",
    { class: "kt-panel kt-why", attrs: { "data-panel": "why", "aria-label": "Why?" } },
    el("div", { class: "kt-panel-bar" }, back, forward, place),
    content,
  );
  host.append(root);

  async function walk(address: string | undefined, event: MouseEvent): Promise<void> {
    if (address === undefined) return;
    await app.select(address);
    // Who goes from cell to cell by keys stays here; a click leaves the grid ready for typing.
    if (event.detail > 0) return;
    await refresh();
    (trail.canGoBack ? back : forward).focus();
  }

  function follow(address: string, event: MouseEvent): void {
    if (shown !== null && shown !== address) trail.follow(shown);
    void walk(address, event);
  }

  function showNothing(text: string): void {
    shown = null;
    place.textContent = "";
    content.replaceChildren(el("p", { class: "kt-quiet", textContent: text }));
    updateButtons();
  }

  function updateButtons(): void {
    back.disabled = !trail.canGoBack;
    forward.disabled = !trail.canGoForward;
  }

  async function refresh(): Promise<void> {
    const isLatest = ask();
    const address = app.selection?.address;
    if (address === undefined) {
      showNothing("Select a cell to see what it is made of.");
      return;
    }
    if (address !== shown) depth = kFirstDepth;
    try {
      const explanation = await app.api.explain(address, depth);
      const problems = await problemsBehind(app, explanation);
      if (isLatest()) show(explanation, problems);
    } catch (error) {
      if (isLatest()) showNothing(messageOf(error));
    }
  }

  function show(explanation: Explanation, problems: CellProblems): void {
    const isSame = shown === explanation.cell;
    const focus = isSame ? keptFocus(content) : null;
    const scroll = isSame ? host.scrollTop : 0;
    shown = explanation.cell;
    place.textContent = nameInForm(explanation.cell, app);
    place.title = explanation.cell;
    const goDeeper = () => {
      depth += kMoreDepth;
      void refresh();
    };
    const parts = new ExplanationParts(explanation, depth, app, follow, goDeeper).all();
    content.replaceChildren(...parts, ...problemParts(problems, app));
    host.scrollTop = scroll;
    updateButtons();
    if (focus !== null) content.querySelector<HTMLElement>(focus)?.focus();
  }

  // Not for each cell that the arrow keys run over, nor for each of several changes.
  const moved = debounced(kMoveDelay, () => void refresh());
  const changed = debounced(kChangeDelay, () => void refresh());
  const listeners = [app.on("selection", moved), app.on("changed", changed), app.on("structure", changed)];
  void refresh();
  return {
    title: "Why?",
    refresh: () => void refresh(),
    destroy() {
      for (const stop of listeners) stop();
      moved.stop();
      changed.stop();
      root.remove();
    },
  };
}

/** What finds the focused part again after it was made anew. */
function keptFocus(content: HTMLElement): string | null {
  const focused = document.activeElement;
  if (!(focused instanceof HTMLElement) || !content.contains(focused)) return null;
  return `[data-key="${focused.dataset.key ?? ""}"]`;
}

/** What people call a cell while its form is open. */
function nameInForm(address: string, app: App): string {
  const prefix = `${app.selection?.form ?? ""}/`;
  return address.startsWith(prefix) ? address.slice(prefix.length) : address;
}

/** What is wrong, and the cell where it is. */
interface CellProblems {
  cell: string;
  problems: Problem[];
}

/** The cell's own problems; those of the cell where its error arose when it only hands it on. */
async function problemsBehind(app: App, explanation: Explanation): Promise<CellProblems> {
  const { cell, problems = [], error_from } = explanation;
  if (problems.length > 0 || error_from === undefined || error_from === cell) return { cell, problems };
  const source = await app.api.explain(error_from, 1);
  return { cell: error_from, problems: source.problems ?? [] };
}

function problemParts({ cell, problems }: CellProblems, app: App): Node[] {
  if (problems.length === 0) return [];
  const list = problemList(problems, (problem, mend) => void mendInNotebook(app, problem, mend));
  return [el("h3", { textContent: `What is wrong in ${nameInForm(cell, app)}` }), list];
}

class ExplanationParts {
  private keys = 0;

  constructor(
    private readonly explanation: Explanation,
    private readonly depth: number,
    private readonly app: App,
    private readonly follow: (address: string, event: MouseEvent) => void,
    private readonly goDeeper: () => void,
  ) {}

  all(): Node[] {
    const { formula, story } = this.explanation;
    const parts: Node[] = [this.heading()];
    // The first says what the heading does.
    const lines = story.filter((line) => line.text !== "").slice(1);
    if (formula !== undefined) {
      const view = viewFormula(formula);
      const words = new StepWords(lines.filter((line) => line.level > 0));
      parts.push(el("div", { class: "kt-why-formula" }, view.element), ...this.tree(view, words));
      lines.shift();
    }
    return [...parts, ...lines.filter((line) => line.level === 0).map((line) => this.sentence(line))];
  }

  private heading(): HTMLElement {
    const { text, origin, error } = this.explanation;
    return el(
      "header",
      { class: "kt-why-heading" },
      el(
        "h2",
        { class: error === undefined ? `kt-why-text ${origin}` : "kt-why-text error" },
        error !== undefined && severityMark("error"),
        text === "" ? "(empty)" : text,
      ),
      el("span", { class: "kt-origin", textContent: kCellWords[origin] ?? origin }),
    );
  }

  private tree(formula: FormulaView, words: StepWords): Node[] {
    const steps = visible(this.explanation.steps);
    if (steps.length === 0) return [];
    const list = this.list(steps, { formula, words, level: 1, unfold: countSteps(steps) <= kUnfoldedSteps });
    list.setAttribute("aria-label", "What it is computed from");
    return [list];
  }

  private list(steps: Step[], around: Around): HTMLElement {
    return el("ul", { class: "kt-steps" }, ...steps.map((step) => this.step(step, around)));
  }

  private step(step: Step, around: Around): HTMLElement {
    const isError = step.error !== undefined || hasFailed(step);
    const row = el(
      "div",
      { class: isError ? "kt-step error" : "kt-step" },
      el("code", { class: "kt-step-source", textContent: step.source }),
      " ",
      el("span", { class: "kt-quiet", textContent: "is" }),
      " ",
      isError && severityMark("error"),
      el("b", { textContent: around.words.next(step) }),
      " ",
      this.origin(step),
    );
    markOnHover(row, around.formula, step);
    return el("li", {}, row, this.below(step, around));
  }

  /** What a step is computed from itself. */
  private below(step: Step, around: Around): HTMLElement | null {
    // A definition or another cell has a formula of its own, in which the steps below it stand.
    const formula = step.formula === undefined ? around.formula : viewFormula(step.formula);
    const steps = visible(step.steps);
    if (steps.length > 0) {
      const list = this.list(steps, { ...around, formula, level: around.level + 1 });
      if (step.more) list.append(el("li", { class: "kt-quiet", textContent: around.words.more() }));
      return this.foldable(step, formula, list, around.unfold || leadsToError(step));
    }
    const isCut = around.level === this.depth && step.steps === undefined && !isGiven(step);
    if (step.formula === undefined && !isCut) return null;
    return el(
      "div",
      { class: "kt-step-formula" },
      ...(step.formula === undefined ? [] : ["by ", formula.element, " "]),
      isCut && this.deeper(step),
    );
  }

  private foldable(step: Step, formula: FormulaView, list: HTMLElement, open: boolean): HTMLElement {
    const what = step.formula === undefined ? ["over these cells"] : ["by ", formula.element];
    const summary = el("summary", { attrs: { "data-key": this.key() } }, ...what);
    return el("details", { class: "kt-step-inner", open }, summary, list);
  }

  private deeper(step: Step): HTMLElement {
    return button("further …", this.goDeeper, {
      class: "kt-link",
      attrs: {
        "data-key": this.key(),
        "aria-label": `Further: what ${step.source} is computed from`,
      },
    });
  }

  /** Where a step's value is, which stays together when the row is too narrow. */
  private origin(step: Step): HTMLElement | null {
    const words = step.origin === undefined ? undefined : kStepWords[step.origin];
    if (step.cell === undefined || words === undefined)
      return step.origin === "definition" ? el("span", { class: "kt-quiet", textContent: "by definition" }) : null;
    const { error_from } = step;
    const parts =
      error_from === undefined || error_from === step.cell
        ? [words, this.link(step.cell)]
        : ["handed on by ", this.link(step.cell), " from ", this.link(error_from)];
    return el("span", { class: "kt-step-origin kt-quiet" }, ...parts);
  }

  private link(address: string): HTMLElement {
    return button(nameInForm(address, this.app), (event) => this.follow(address, event), {
      class: "kt-link",
      attrs: { title: "Go to this cell", "data-key": this.key(), "data-cell": address },
    });
  }

  /** A line of the story, the cell that it names being a link. */
  private sentence(line: StoryLine): HTMLElement {
    const { shown, error_from } = this.explanation;
    const cells = [line.cell, shown?.digits_from?.cell, shown?.unit_from?.cell, error_from];
    const named = cells.find((cell) => cell !== undefined && line.text.includes(cell));
    const words: (Node | string)[] = [line.text];
    if (named !== undefined) {
      const start = line.text.indexOf(named);
      const end = start + named.length;
      words.splice(0, 1, line.text.slice(0, start), this.link(named), line.text.slice(end));
    }
    return el(
      "p",
      { class: line.error ? "kt-why-line error" : "kt-why-line" },
      line.error && severityMark("error"),
      ...words,
    );
  }

  private key(): string {
    this.keys += 1;
    return String(this.keys);
  }
}

/** Where a list of steps stands. */
interface Around {
  // In which the steps' places count.
  formula: FormulaView;
  words: StepWords;
  level: number;
  unfold: boolean;
}

/** The story's words for the steps, in whose order its indented lines stand. */
class StepWords {
  private at = 0;
  constructor(private readonly lines: StoryLine[]) {}

  /** What the step is, without where it comes from. */
  next(step: Step): string {
    const line = this.more();
    if (step.error !== undefined) return step.error;
    if (step.text !== undefined) return step.text === "" ? "empty" : step.text;
    const begin = `${step.source} is `;
    const phrase = line.startsWith(begin) ? line.slice(begin.length) : line;
    const end = step.origin === "definition" ? phrase.lastIndexOf(", defined as ") : -1;
    return end < 0 ? phrase : phrase.slice(0, end);
  }

  more(): string {
    const line = this.lines[this.at];
    this.at += 1;
    return line?.text ?? "";
  }
}

/** Constants can be seen in the formula. */
function visible(steps: Step[] | undefined): Step[] {
  return (steps ?? []).filter((step) => step.origin !== "constant");
}

function countSteps(steps: Step[]): number {
  return steps.reduce((count, step) => count + 1 + countSteps(visible(step.steps)), 0);
}

/** Whether nothing is behind the step. */
function isGiven(step: Step): boolean {
  return step.origin === undefined || ["typed", "noted", "empty"].includes(step.origin);
}

function hasFailed(step: Step): boolean {
  return step.value !== undefined && ("raised" in step.value || step.value.kind === "error");
}

function leadsToError(step: Step): boolean {
  return (
    step.error !== undefined ||
    (step.steps ?? []).some((inner) => hasFailed(inner) || leadsToError(inner))
  );
}

function markOnHover(row: HTMLElement, formula: FormulaView, step: Step): void {
  const mark = () => formula.mark(step.start, step.length);
  const unmark = () => formula.mark();
  row.addEventListener("pointerenter", mark);
  row.addEventListener("focusin", mark);
  row.addEventListener("pointerleave", unmark);
  row.addEventListener("focusout", unmark);
}
