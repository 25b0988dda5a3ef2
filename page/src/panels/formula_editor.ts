// The editor of one formula: colours, completion, help on functions, problems underlined.
import {
  autocompletion,
  completionKeymap,
  type Completion,
  type CompletionContext,
  type CompletionResult,
} from "@codemirror/autocomplete";
import { defaultKeymap, history, historyKeymap } from "@codemirror/commands";
import { bracketMatching } from "@codemirror/language";
import { lintKeymap, setDiagnostics, type Diagnostic } from "@codemirror/lint";
import { Compartment, EditorState, RangeSetBuilder } from "@codemirror/state";
import {
  Decoration,
  EditorView,
  ViewPlugin,
  drawSelection,
  hoverTooltip,
  keymap,
  placeholder,
  type DecorationSet,
  type ViewUpdate,
} from "@codemirror/view";
import type { FunctionHelp, Mend, Names, Problem } from "../api";
import { el } from "../dom";
import { tokenAt } from "./formula_tokens";
import { mendName } from "./problems";

export interface EditorEvents {
  changed(): void;
  /** The text cursor moved. */
  moved(): void;
  save(): void;
  mend(problem: Problem, mend: Mend): void;
}

/** Colours by what the parts look like, before the server has said anything. */
const colours = ViewPlugin.fromClass(
  class {
    decorations: DecorationSet;
    constructor(view: EditorView) {
      this.decorations = tokenMarks(view.state.doc.toString());
    }
    update(update: ViewUpdate) {
      if (update.docChanged) this.decorations = tokenMarks(update.state.doc.toString());
    }
  },
  { decorations: (plugin) => plugin.decorations },
);

function tokenMarks(text: string): DecorationSet {
  const marks = new RangeSetBuilder<Decoration>();
  for (let start = 0; start < text.length; ) {
    const { end, kind } = tokenAt(text, start);
    if (kind !== "blank") marks.add(start, end, Decoration.mark({ class: `kt-token-${kind}` }));
    start = end;
  }
  return marks.finish();
}

export class FormulaEditor {
  readonly view: EditorView;
  private names: Names | null = null;
  private readonly labels = new Compartment();

  constructor(
    host: HTMLElement,
    private readonly events: EditorEvents,
  ) {
    this.view = new EditorView({ parent: host, state: this.stateOf("") });
  }

  get text(): string {
    return this.view.state.doc.toString();
  }

  /** Another formula, with a history of its own. */
  open(text: string, label: string, hint: string) {
    this.view.setState(this.stateOf(text));
    this.view.dispatch({ effects: this.labels.reconfigure(labelled(label, hint)) });
  }

  /** Another text for the same formula, which undo takes back. */
  replace(text: string) {
    this.view.dispatch({ changes: { from: 0, to: this.view.state.doc.length, insert: text } });
  }

  knows(names: Names) {
    this.names = names;
  }

  underline(problems: Problem[]) {
    const length = this.view.state.doc.length;
    const diagnostics = problems.map((problem) => this.diagnostic(problem, length));
    this.view.dispatch(setDiagnostics(this.view.state, diagnostics));
  }

  /** The function whose name or arguments the text cursor stands in. */
  functionHere(): FunctionHelp | undefined {
    return this.functionNamed(enclosingCall(this.text, this.view.state.selection.main.head));
  }

  destroy() {
    this.view.destroy();
  }

  private stateOf(text: string): EditorState {
    const { events } = this;
    const nonce = document.querySelector<HTMLMetaElement>('meta[name="csp-nonce"]')?.content;
    return EditorState.create({
      doc: text,
      extensions: [
        nonce ? EditorView.cspNonce.of(nonce) : [],
        history(),
        drawSelection(),
        EditorView.lineWrapping,
        bracketMatching(),
        colours,
        autocompletion({ override: [(context) => this.complete(context)], icons: false }),
        hoverTooltip((_view, position) => this.help(position)),
        // Without Tab, which goes on to the next field; Escape, with nothing to close, goes on to the page.
        keymap.of([
          { key: "Mod-Enter", run: () => (events.save(), true) },
          ...completionKeymap,
          ...lintKeymap,
          ...historyKeymap,
          ...defaultKeymap.filter((binding) => binding.key !== "Mod-Enter"),
        ]),
        EditorView.domEventHandlers({ beforeinput: typeOver }),
        EditorView.updateListener.of((update) => {
          if (update.docChanged) events.changed();
          if (update.docChanged || update.selectionSet) events.moved();
        }),
        this.labels.of([]),
      ],
    });
  }

  private diagnostic(problem: Problem, length: number): Diagnostic {
    const { mend } = problem;
    const from = Math.min(problem.start ?? 0, length);
    const to = Math.min(problem.start === null ? length : from + (problem.length ?? 0), length);
    return {
      from,
      to,
      severity: problem.severity === "note" ? "info" : problem.severity,
      message: problem.help ? `${problem.message}\n${problem.help}` : problem.message,
      actions: mend
        ? [{ name: mendName(mend), apply: () => this.events.mend(problem, mend) }]
        : [],
    };
  }

  private complete(context: CompletionContext): CompletionResult | null {
    if (!this.names) return null;
    const text = context.state.doc.toString();
    const token = tokenBefore(text, context.pos);
    if (token?.kind === "text") return null;
    if (token?.kind === "reference" && !text.slice(token.start, context.pos).endsWith("]"))
      return { from: token.start, options: references(this.names), validFor: /^\[[^\]]*$/ };
    const isWord = token?.kind === "other" || token?.kind === "function";
    if (!isWord && !context.explicit) return null;
    return {
      from: isWord && token ? token.start : context.pos,
      options: [...functions(this.names), ...(context.explicit ? references(this.names) : [])],
      validFor: /^\p{L}*$/u,
    };
  }

  private functionNamed(name: string | undefined): FunctionHelp | undefined {
    return this.names?.functions.find((known) => known.name === name?.toUpperCase());
  }

  private help(position: number) {
    const { text } = this;
    const token = tokenBefore(text, position + 1);
    if (token?.kind !== "function") return null;
    const known = this.functionNamed(text.slice(token.start, token.end));
    if (!known) return null;
    return { pos: token.start, end: token.end, above: true, create: () => ({ dom: functionHelp(known) }) };
  }
}

/**
 * Typing over a selection: left to itself, the browser would write the colours of what it takes away
 * into the page as inline styles, which the page's policy forbids.
 */
function typeOver(event: InputEvent, view: EditorView): boolean {
  const isPlain = event.inputType === "insertText" && event.data !== null && !event.isComposing;
  if (!isPlain || view.state.selection.main.empty) return false;
  view.dispatch(view.state.replaceSelection(event.data ?? ""), { userEvent: "input.type", scrollIntoView: true });
  event.preventDefault();
  return true;
}

function labelled(label: string, hint: string) {
  return [EditorView.contentAttributes.of({ "aria-label": label }), placeholder(hint)];
}

function tokenBefore(text: string, position: number) {
  for (let start = 0; start < text.length; ) {
    const { end, kind } = tokenAt(text, start);
    if (start < position && position <= end) return { start, end, kind };
    start = end;
  }
  return undefined;
}

/** The name in front of the innermost parenthesis that is open at the position. */
function enclosingCall(text: string, position: number): string | undefined {
  const open: string[] = [];
  let name = "";
  for (let start = 0; start < position; ) {
    const { end, kind } = tokenAt(text, start);
    const part = text.slice(start, end);
    if (kind === "function" && position <= end) return part;
    if (part === "(") open.push(name);
    else if (part === ")") open.pop();
    if (kind !== "blank") name = kind === "function" ? part : "";
    start = end;
  }
  return open.pop();
}

function references(names: Names): Completion[] {
  const columns = names.columns.map((column) => reference(column.insert, columnDetail(column), 3));
  const definitions = names.definitions.map((one) => reference(one.insert, "definition", 2));
  const fields = names.fields.map((field) => reference(field.insert, "field", 0));
  const tables = names.tables.flatMap((table) => [
    reference(table.insert, "table", 1),
    ...table.columns.map((column) => reference(column.insert, `column of ${table.name}`, -1)),
  ]);
  return [...columns, ...definitions, ...tables, ...fields];
}

function columnDetail(column: { type: string; unit: string | null }): string {
  return column.unit ? `column, ${column.unit}` : `column of this table`;
}

function reference(insert: string, detail: string, boost: number): Completion {
  return { label: insert, detail, boost, type: "variable", apply: insertReference };
}

/** Takes the bracket behind the cursor along, where there is one. */
function insertReference(view: EditorView, completion: Completion, from: number, to: number) {
  const hasBracket = view.state.sliceDoc(to, to + 1) === "]";
  view.dispatch({
    changes: { from, to: hasBracket ? to + 1 : to, insert: completion.label },
    selection: { anchor: from + completion.label.length },
    userEvent: "input.complete",
  });
}

const kWords = ["AND", "OR", "XOR", "NOT", "TRUE", "FALSE"];

function functions(names: Names): Completion[] {
  const calls = names.functions.map((known) => ({
    label: known.name,
    detail: known.summary,
    type: "function",
    info: () => functionHelp(known),
    apply: insertCall,
  }));
  return [...calls, ...kWords.map((label) => ({ label, type: "keyword", boost: -2 }))];
}

function insertCall(view: EditorView, completion: Completion, from: number, to: number) {
  const hasParenthesis = view.state.sliceDoc(to, to + 1) === "(";
  const insert = completion.label + (hasParenthesis ? "" : "(");
  view.dispatch({
    changes: { from, to, insert },
    selection: { anchor: from + completion.label.length + 1 },
    userEvent: "input.complete",
  });
}

function functionHelp(known: FunctionHelp): HTMLElement {
  const forms = known.forms.map((form) =>
    el(
      "div",
      {},
      el("code", { textContent: form.syntax }),
      el("div", { class: "kt-quiet", textContent: form.meaning }),
    ),
  );
  const examples = known.examples.map((example) =>
    el(
      "div",
      {},
      el("code", { textContent: example.formula }),
      " shows ",
      el("b", { textContent: example.shows }),
    ),
  );
  return el(
    "div",
    { class: "kt-function-help" },
    el("b", { textContent: `${known.name} ${known.summary}` }),
    ...forms,
    el("p", { textContent: known.errors }),
    ...examples,
  );
}
