// The panels beside the grid, one at a time, and the dialogs over it.
import { el, icon } from "./dom";
import { icons } from "./icons";
import { panels } from "./panels/index";
import type { App, Panel, PanelEntry } from "./state";

const openKey = "ktnotebook.panel";

export class SidePanel {
  readonly element = el("aside", { class: "side", hidden: true, attrs: { "aria-label": "Panel" } });
  private readonly tabs = el("div", { class: "side-tabs", attrs: { role: "tablist", "aria-label": "Panels" } });
  private readonly host = el("div", { class: "side-host", id: "side-host", attrs: { role: "tabpanel" } });
  private shown: { entry: PanelEntry; panel: Panel } | null = null;
  private readonly dialogs = new Map<string, { host: HTMLElement; panel: Panel }>();

  constructor(private readonly app: App, private readonly closed: () => void) {
    const close = el("button", { class: "plain", type: "button", title: "Close the panel", attrs: { "aria-label": "Close the panel" }, on: { click: () => this.hide() } }, icon(icons.close));
    this.element.append(el("div", { class: "side-head" }, this.tabs, close), this.host);
    this.element.addEventListener("keydown", (event) => {
      if (event.key === "Escape" && !event.defaultPrevented) this.closed();
    });
  }

  // A button of the toolbar for each.
  buttons(make: (label: string, id: string, path: string) => HTMLElement): HTMLElement[] {
    return panels.map((entry) => make(entry.label, entry.id, (icons as Record<string, string>)[entry.id] ?? icons.why));
  }

  open(id: string): void {
    const entry = panels.find((each) => each.id === id);
    if (!entry) return;
    if (entry.dialog) this.openDialog(entry);
    else this.show(entry);
  }

  close(id: string): void {
    const dialog = this.dialogs.get(id);
    if (dialog) {
      this.dialogs.delete(id);
      dialog.panel.destroy();
      dialog.host.remove();
      this.closed();
    } else if (this.shown?.entry.id === id) {
      this.hide();
    }
  }

  // The panel that was open when the page was seen last; at first, where there is room, the one that
  // answers "why?".
  restore(): void {
    const id = localStorage.getItem(openKey) ?? (matchMedia("(min-width: 1100px)").matches ? "why" : "");
    if (id) this.open(id);
  }

  private openDialog(entry: PanelEntry): void {
    if (this.dialogs.has(entry.id)) return;
    const host = el("div");
    document.body.append(host);
    this.dialogs.set(entry.id, { host, panel: entry.mount(host, this.app) });
  }

  private show(entry: PanelEntry): void {
    this.element.hidden = false;
    localStorage.setItem(openKey, entry.id);
    if (this.shown?.entry !== entry) {
      this.shown?.panel.destroy();
      this.host.replaceChildren();
      this.shown = { entry, panel: entry.mount(this.host, this.app) };
    }
    this.host.setAttribute("aria-label", entry.label);
    this.renderTabs();
    this.shown.panel.refresh();
  }

  private hide(): void {
    this.shown?.panel.destroy();
    this.shown = null;
    this.host.replaceChildren();
    this.element.hidden = true;
    localStorage.setItem(openKey, "");
    this.closed();
  }

  private renderTabs(): void {
    this.tabs.replaceChildren(...panels.filter((entry) => !entry.dialog).map((entry) => this.tab(entry)));
  }

  private tab(entry: PanelEntry): HTMLElement {
    const selected = this.shown?.entry === entry;
    return el("button", {
      class: "tab",
      type: "button",
      textContent: entry.label,
      tabIndex: selected ? 0 : -1,
      attrs: { role: "tab", "aria-selected": String(selected), "aria-controls": this.host.id },
      on: { click: () => this.show(entry), keydown: (event) => this.tabKey(event) },
    });
  }

  private tabKey(event: KeyboardEvent): void {
    const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    const tabs = [...this.tabs.children] as HTMLElement[];
    if (step) tabs[(tabs.indexOf(event.target as HTMLElement) + step + tabs.length) % tabs.length]?.focus();
  }
}
