// What the page tells: the status line, alerts that stay, and announcements.
import { el, icon } from "./dom";
import { icons } from "./icons";

export interface AlertAction {
  label: string;
  run(): void;
}

// How long an announcement stays to be read.
const announcedFor = 8000;

export class Messages {
  readonly alerts = el("div", { class: "alerts" });
  readonly status = el("div", { class: "status", attrs: { role: "status" } });
  private readonly saving = el("span", { class: "saving" });
  private readonly problems = el("span", { class: "problems" });
  private readonly nextProblem: HTMLButtonElement;
  private readonly announced = el("span", { class: "announced" });
  private timer: ReturnType<typeof setTimeout> | undefined;

  // `left` is called when the focus was in an alert that goes away.
  // `showProblem` shows one after the other.
  constructor(private readonly left: () => void, showProblem: () => void) {
    this.nextProblem = el("button", { class: "plain", type: "button", title: "Show the next one", on: { click: showProblem } });
    this.status.append(this.announced, this.problems, this.saving);
  }

  announce(text: string): void {
    this.announced.textContent = text;
    clearTimeout(this.timer);
    this.timer = setTimeout(() => (this.announced.textContent = ""), announcedFor);
  }

  setSaving(text: string, state: string): void {
    if (this.saving.textContent !== text) this.saving.textContent = text;
    this.saving.dataset.state = state;
  }

  // With a button where there are any.
  setProblems(text: string, are: boolean): void {
    if (this.problems.textContent === text) return;
    this.nextProblem.textContent = text;
    this.problems.replaceChildren(are ? this.nextProblem : text);
  }

  // Stays until it is dismissed, an action is taken, or the function that is returned is called.
  // The same text is not shown twice.
  alert(text: string, actions: AlertAction[] = [], details: Node[] = []): () => void {
    const same = [...this.alerts.children].find((alert) => (alert as HTMLElement).dataset.text === text);
    same?.remove();
    const alert = el("div", { class: "alert", attrs: { role: "alert", "data-text": text } });
    const close = () => {
      const held = alert.contains(document.activeElement);
      alert.remove();
      if (held) this.left();
    };
    const buttons = actions.map(({ label, run }) =>
      el("button", { type: "button", textContent: label, on: { click: () => (close(), run()) } }));
    const dismiss = el("button", { class: "plain", type: "button", attrs: { "aria-label": "Dismiss" }, on: { click: close } }, icon(icons.close));
    alert.append(el("div", { class: "alert-text" }, el("span", {}, text), ...details), ...buttons, ...(actions.length > 0 ? [] : [dismiss]));
    this.alerts.append(alert);
    return close;
  }
}
