// The parts beside the grid, in the order of their tabs.
import type { PanelEntry } from "../state";

export const panels: PanelEntry[] = [];
