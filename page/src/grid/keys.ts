// What keys do in the grid while no cell is edited.

export type Command =
  | { do: "move"; rows: number; columns: number; extend?: boolean }
  | { do: "edge"; rows: -1 | 0 | 1; columns: -1 | 0 | 1; extend?: boolean }
  | { do: "page"; pages: 1 | -1; extend?: boolean }
  | { do: "rowStart" | "rowEnd" | "tableStart" | "tableEnd"; extend?: boolean }
  | { do: "next" | "previous" | "enter" | "enterBack" }
  | { do: "edit" | "clear" | "selectAll" | "fillDown" | "fillRight" | "menu" | "escape" };

const move = (rows: number, columns: number): Command => ({ do: "move", rows, columns });
const edge = (rows: -1 | 0 | 1, columns: -1 | 0 | 1): Command => ({ do: "edge", rows, columns });

// Those of the first table also extend the selection with Shift.
const moves: Record<string, Command> = {
  ArrowUp: move(-1, 0),
  ArrowDown: move(1, 0),
  ArrowLeft: move(0, -1),
  ArrowRight: move(0, 1),
  "Ctrl+ArrowUp": edge(-1, 0),
  "Ctrl+ArrowDown": edge(1, 0),
  "Ctrl+ArrowLeft": edge(0, -1),
  "Ctrl+ArrowRight": edge(0, 1),
  PageUp: { do: "page", pages: -1 },
  PageDown: { do: "page", pages: 1 },
  Home: { do: "rowStart" },
  End: { do: "rowEnd" },
  "Ctrl+Home": { do: "tableStart" },
  "Ctrl+End": { do: "tableEnd" },
};

const others: Record<string, Command> = {
  Tab: { do: "next" },
  "Shift+Tab": { do: "previous" },
  Enter: { do: "enter" },
  "Shift+Enter": { do: "enterBack" },
  F2: { do: "edit" },
  Delete: { do: "clear" },
  Backspace: { do: "clear" },
  Escape: { do: "escape" },
  "Ctrl+a": { do: "selectAll" },
  "Ctrl+d": { do: "fillDown" },
  "Ctrl+r": { do: "fillRight" },
  ContextMenu: { do: "menu" },
  "Shift+F10": { do: "menu" },
};

export function commandOf(event: KeyboardEvent): Command | undefined {
  if (event.altKey || event.isComposing) return undefined;
  const name = keyName(event, event.shiftKey);
  if (others[name]) return others[name];
  const plain = moves[keyName(event, false)];
  return plain && ({ ...plain, extend: event.shiftKey } as Command);
}

// A key that types a character, or begins one: with an input method, or as an accent.
export function isTyping(event: KeyboardEvent): boolean {
  if (event.ctrlKey || event.metaKey || (event.altKey && !event.getModifierState("AltGraph"))) return false;
  return event.key.length === 1 || event.key === "Process" || event.key === "Dead";
}

function keyName(event: KeyboardEvent, shift: boolean): string {
  const key = event.key.length === 1 ? event.key.toLowerCase() : event.key;
  return (event.ctrlKey || event.metaKey ? "Ctrl+" : "") + (shift ? "Shift+" : "") + key;
}
