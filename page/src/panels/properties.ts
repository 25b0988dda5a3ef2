// The properties dialog of a table's formulas. What it does is decided by the server, which is told
// each of the user's events in order and answers what the controls hold then.
import { addressOf, ApiError, type DialogControl, type DialogEvent, type DialogState } from "../api";
import { el } from "../dom";
import type { App, Panel } from "../state";
import { freshId, messageOf } from "./dom";

const kLabel = "mSourcePropertyLabel";
const kList = "mSourcePropertyComboBox";
const kFormula = "mFormulaTextBox";
const kFormat = "mFormatTextBox";
const kOk = "mOKButton";

// Lines are parted by CR LF in the dialog, by LF in the page.
const toDialog = (text: string) => text.replace(/\r?\n/g, "\r\n");
const fromDialog = (text: string) => text.replace(/\r\n/g, "\n");

export function mountProperties(host: HTMLElement, app: App): Panel {
  return new PropertiesDialog(host, app);
}

class PropertiesDialog implements Panel {
  readonly title = "Properties";
  private id: string | null = null;
  // Events are told one behind the other.
  private last: Promise<void> = Promise.resolve();
  private underWay = 0;
  private isOkDefault = true;
  private isEnding = false;

  private readonly label = el("label", { htmlFor: freshId(), attrs: { "data-control": kLabel } });
  private readonly list = el("select", {
    id: this.label.htmlFor,
    attrs: { "data-control": kList },
    on: { change: () => this.tell("Click", kList) },
  });
  private readonly boxes: Record<string, HTMLTextAreaElement> = {
    [kFormula]: this.box(kFormula, "Formula", 7),
    [kFormat]: this.box(kFormat, "Number format", 1),
  };
  private readonly ok = el("button", {
    type: "button",
    textContent: "OK",
    attrs: { "data-control": kOk },
    on: { click: () => this.tell("Click", kOk) },
  });
  private readonly heading = el("h2", { id: freshId() });
  private readonly dialog = el(
    "dialog",
    {
      class: "dialog kt-properties",
      attrs: { "data-dialog": "properties", "aria-labelledby": this.heading.id },
      on: {
        cancel: (event: Event) => {
          event.preventDefault();
          this.tell("Close");
        },
        keydown: (event: KeyboardEvent) => this.pressed(event),
      },
    },
    this.heading,
    el("div", { class: "kt-field" }, this.label, this.list),
    this.field(kFormula, "Formula"),
    this.field(kFormat, "Number format"),
    el("div", { class: "kt-buttons" }, this.ok),
  );

  constructor(
    host: HTMLElement,
    private readonly app: App,
  ) {
    host.append(this.dialog);
    // Not before the page knows of the panel, which it may be asked to close.
    queueMicrotask(() => void this.open());
  }

  refresh(): void {}

  destroy(): void {
    if (this.id !== null && !this.isEnding) this.tell("Close");
    this.dialog.remove();
  }

  private box(control: string, name: string, rows: number): HTMLTextAreaElement {
    return el("textarea", {
      id: freshId(),
      rows,
      spellcheck: false,
      attrs: { "data-control": control, "aria-label": name },
      on: {
        focus: () => this.tell("GotFocus", control),
        blur: () => this.tell("LostFocus", control),
      },
    });
  }

  private field(control: string, name: string): HTMLElement {
    const box = this.boxes[control];
    return el("div", { class: "kt-field" }, el("label", { htmlFor: box?.id ?? "", textContent: name }), box);
  }

  private async open(): Promise<void> {
    const { structure, table } = this.app;
    if (structure === null || table === null) {
      this.app.closePanel("properties");
      return;
    }
    try {
      const state = await this.app.api.openProperties(addressOf.table(structure.form, table.name));
      this.id = state.dialog;
      this.show(state, {});
      this.dialog.showModal();
    } catch (error) {
      this.fail(error);
    }
  }

  /** Enter presses OK while it is the default button, and is always a key of the formula else. */
  private pressed(event: KeyboardEvent): void {
    if (event.key !== "Enter" || event.isComposing) return;
    const isFormula = event.target === this.boxes[kFormula];
    if (event.target === this.ok || (isFormula && (!this.isOkDefault || this.underWay > 0))) return;
    event.preventDefault();
    if (this.isOkDefault) this.tell("Click", kOk);
  }

  private tell(event: DialogEvent["event"], control?: string): void {
    // What ends the dialog takes the focus away, which is no event of the user's any more.
    if (this.isEnding || this.id === null) return;
    this.isEnding = event === "Close" || control === kOk;
    const texts = this.texts();
    const body: DialogEvent = { event, controls: this.inputs(texts) };
    if (control !== undefined) body.control = control;
    this.underWay += 1;
    this.last = this.last.then(() => this.send(body, texts)).finally(() => (this.underWay -= 1));
  }

  private texts(): Record<string, string> {
    return Object.fromEntries(Object.entries(this.boxes).map(([name, box]) => [name, box.value]));
  }

  private inputs(texts: Record<string, string>): NonNullable<DialogEvent["controls"]> {
    const boxes = Object.entries(texts).map(([name, text]) => [name, { text: toDialog(text) }]);
    return { ...Object.fromEntries(boxes), [kList]: { index: this.list.selectedIndex } };
  }

  private async send(event: DialogEvent, told: Record<string, string>): Promise<void> {
    const { id } = this;
    if (id === null) return;
    const isClosing = event.event === "Close" || event.control === kOk;
    if (!isClosing) {
      await this.app.api.tellProperties(id, event).then(
        (state) => this.show(state, told),
        (error: unknown) => this.fail(error),
      );
      return;
    }
    const state = await this.app.run(() => this.tellAndApply(id, event));
    if (state === undefined || state.closed) this.close(state?.changed === true);
    else {
      this.isEnding = false;
      this.show(state, told);
    }
  }

  private async tellAndApply(id: string, event: DialogEvent): Promise<DialogState> {
    const state = await this.app.api.tellProperties(id, event);
    const { forms, problems } = state;
    if (forms !== undefined) this.app.applied(problems === undefined ? { forms } : { forms, problems });
    return state;
  }

  /** `told`: the texts with which the event was told; what was typed since stays. */
  private show(state: DialogState, told: Record<string, string>): void {
    this.heading.textContent = state.title;
    const { controls } = state;
    this.label.textContent = controls[kLabel]?.caption ?? "";
    const list = controls[kList];
    if (list !== undefined) this.showList(list);
    for (const [name, box] of Object.entries(this.boxes)) {
      const control = controls[name];
      if (control === undefined) continue;
      setFont(box, control);
      const text = fromDialog(control.text ?? "");
      const isUntouched = told[name] === undefined || box.value === told[name];
      if (isUntouched && box.value !== text) box.value = text;
    }
    this.isOkDefault = controls[kOk]?.default ?? true;
    this.ok.classList.toggle("primary", this.isOkDefault);
  }

  private showList(control: DialogControl): void {
    const items = control.items ?? [];
    const present = [...this.list.options].map((option) => option.text);
    if (items.join("\n") !== present.join("\n"))
      this.list.replaceChildren(...items.map((item) => el("option", { textContent: item })));
    this.list.selectedIndex = control.index ?? -1;
    setFont(this.list, control);
  }

  private close(hasChanged: boolean): void {
    this.id = null;
    this.isEnding = true;
    this.dialog.close();
    if (hasChanged) this.app.announce("The formulas were changed. Undo takes it back.");
    this.app.closePanel("properties");
  }

  private fail(error: unknown): void {
    const isGone = error instanceof ApiError && error.status === 404 && this.id !== null;
    this.app.alert(isGone ? "The server was started anew: open the properties again." : messageOf(error));
    this.close(false);
  }
}

function setFont(element: HTMLElement, control: DialogControl): void {
  element.style.fontFamily = control.font ? `"${control.font.replace(/["\\]/g, "")}", sans-serif` : "";
}
