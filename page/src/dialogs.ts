// Small questions in dialogs.
import { el } from "./dom";

export interface Question {
  name: string;
  label: string;
  // text, checkbox, or a choice of these.
  kind?: "text" | "checkbox" | readonly { value: string; label: string }[];
  value?: string | boolean;
  optional?: boolean;
  help?: string;
  // Only asked where another answer is this one.
  only?: { name: string; value: string };
}

export type Answers = Record<string, string | boolean>;

// Resolves to null when the person gives up.
export function ask(title: string, action: string, questions: Question[], text?: string): Promise<Answers | null> {
  const fields = questions.map(makeField);
  const form = el("form", { method: "dialog" });
  const update = () => fields.forEach((field) => (field.row.hidden = !applies(field.question, read(fields))));
  form.addEventListener("input", update);
  form.append(text ? el("p", {}, text) : "", ...fields.map((field) => field.row));
  update();
  return openDialog(title, action, form, () => {
    const answers = read(fields);
    const missing = fields.find(({ question }) =>
      !question.optional && question.kind === undefined && applies(question, answers) && answers[question.name] === "");
    missing?.input.focus();
    return missing ? null : answers;
  });
}

// A question with yes or no; `list` names what it is about.
export async function confirmed(title: string, action: string, text: string, list: string[] = []): Promise<boolean> {
  const items = list.map((item) => el("li", {}, item));
  const form = el("form", { method: "dialog" }, el("p", {}, text), items.length > 0 && el("ul", { class: "plain-list" }, ...items));
  return (await openDialog(title, action, form, () => true)) !== null;
}

// Something to read.
export async function show(title: string, ...content: Node[]): Promise<void> {
  const form = el("form", { method: "dialog" }, ...content);
  await openDialog(title, "Close", form, () => true, false);
}

interface Field {
  question: Question;
  row: HTMLElement;
  input: HTMLInputElement | HTMLSelectElement;
}

function makeField(question: Question): Field {
  const id = `question-${question.name}`;
  const input = makeInput(question, id);
  const label = el("label", { htmlFor: id }, question.label);
  const help = question.help ? el("small", { id: `${id}-help` }, question.help) : null;
  if (help) input.setAttribute("aria-describedby", help.id);
  const row = el("div", { class: question.kind === "checkbox" ? "question check" : "question" }, label, input, help);
  return { question, row, input };
}

function makeInput(question: Question, id: string): HTMLInputElement | HTMLSelectElement {
  const { kind, value } = question;
  if (kind === "checkbox") return el("input", { id, type: "checkbox", checked: value === true });
  if (kind === undefined || kind === "text") {
    return el("input", { id, type: "text", value: String(value ?? ""), autocomplete: "off", spellcheck: false, required: !question.optional });
  }
  const options = kind.map((choice) => el("option", { value: choice.value, selected: choice.value === value }, choice.label));
  return el("select", { id }, ...options);
}

function read(fields: Field[]): Answers {
  return Object.fromEntries(fields.map(({ question, input }) =>
    [question.name, input instanceof HTMLInputElement && input.type === "checkbox" ? input.checked : input.value]));
}

function applies(question: Question, answers: Answers): boolean {
  return !question.only || answers[question.only.name] === question.only.value;
}

// `result` gives what is resolved, or null when something is missing yet.
function openDialog<T>(title: string, action: string, form: HTMLFormElement, result: () => T | null, cancel = true): Promise<T | null> {
  const before = document.activeElement;
  const heading = el("h2", { id: "dialog-title" }, title);
  const dialog = el("dialog", { class: "dialog", attrs: { "aria-labelledby": heading.id } }, heading, form);
  return new Promise((resolve) => {
    let answer: T | null = null;
    const giveUp = el("button", { type: "button", on: { click: () => dialog.close() } }, "Cancel");
    form.append(el("div", { class: "buttons" }, cancel && giveUp, el("button", { type: "submit", class: "primary" }, action)));
    form.addEventListener("submit", (event) => {
      event.preventDefault();
      answer = result();
      if (answer !== null) dialog.close();
    });
    dialog.addEventListener("keydown", (event) => event.stopPropagation());
    dialog.addEventListener("close", () => {
      dialog.remove();
      if (before instanceof HTMLElement && before.isConnected) before.focus({ preventScroll: true });
      resolve(answer);
    });
    document.body.append(dialog);
    dialog.showModal();
    const first = form.querySelector<HTMLElement>("input, select, button.primary");
    first?.focus();
    if (first instanceof HTMLInputElement) first.select();
  });
}
