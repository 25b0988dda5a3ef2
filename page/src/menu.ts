// A menu that opens at a place and goes away when something is chosen.
import { el } from "./dom";

export interface MenuItem {
  label: string;
  run(): void;
  // The keys that do the same.
  keys?: string;
  disabled?: boolean;
  checked?: boolean;
}

// null is a line between items.
export type MenuItems = (MenuItem | null)[];

export function openMenu(anchor: DOMRect, label: string, items: MenuItems): void {
  const before = document.activeElement;
  const menu = el("div", { class: "menu", attrs: { role: "menu", "aria-label": label } });
  const close = () => {
    document.removeEventListener("pointerdown", outside, true);
    removeEventListener("resize", close);
    menu.remove();
  };
  const back = () => {
    close();
    if (before instanceof HTMLElement && before.isConnected) before.focus({ preventScroll: true });
  };
  const outside = (event: Event) => {
    if (!menu.contains(event.target as Node)) close();
  };
  menu.append(...items.map((item) => (item ? menuItem(item, back) : el("hr", { attrs: { role: "separator" } }))));
  menu.addEventListener("keydown", (event) => menuKey(event, menu, back));
  document.addEventListener("pointerdown", outside, true);
  addEventListener("resize", close);
  document.body.append(menu);
  placeBy(menu, anchor);
  choices(menu)[0]?.focus();
}

function menuItem(item: MenuItem, back: () => void): HTMLElement {
  const chooseable = item.checked !== undefined;
  return el(
    "button",
    {
      type: "button",
      tabIndex: -1,
      attrs: {
        role: chooseable ? "menuitemradio" : "menuitem",
        "aria-disabled": item.disabled ?? null,
        "aria-checked": chooseable ? String(item.checked) : null,
        "aria-keyshortcuts": null,
      },
      on: {
        click: () => {
          if (item.disabled) return;
          back();
          item.run();
        },
      },
    },
    el("span", {}, item.label),
    item.keys ? el("kbd", {}, item.keys) : null,
  );
}

const choices = (menu: HTMLElement) => [...menu.querySelectorAll<HTMLElement>("button")];

function menuKey(event: KeyboardEvent, menu: HTMLElement, back: () => void): void {
  const all = choices(menu);
  const at = all.indexOf(document.activeElement as HTMLElement);
  const goals: Record<string, number> = { ArrowDown: at + 1, ArrowUp: at - 1, Home: 0, End: all.length - 1 };
  const goal = goals[event.key];
  event.stopPropagation();
  if (goal !== undefined) all[(goal + all.length) % all.length]?.focus();
  else if (event.key === "Escape" || event.key === "Tab") back();
  else if (event.key.length === 1 && event.key !== " ") focusByLetter(all, at, event.key);
  else return;
  event.preventDefault();
}

function focusByLetter(all: HTMLElement[], at: number, letter: string): void {
  const order = [...all.slice(at + 1), ...all.slice(0, at + 1)];
  order.find((item) => item.textContent?.toLowerCase().startsWith(letter.toLowerCase()))?.focus();
}

// Below the anchor, inside the window.
function placeBy(menu: HTMLElement, anchor: DOMRect): void {
  const { width, height } = menu.getBoundingClientRect();
  const below = anchor.bottom + height <= innerHeight;
  const top = below ? anchor.bottom : Math.max(4, Math.min(anchor.top - height, innerHeight - height - 4));
  menu.style.left = `${Math.max(4, Math.min(anchor.left, innerWidth - width - 4))}px`;
  menu.style.top = `${below || anchor.top - height > 0 ? Math.max(4, top) : 4}px`;
}
