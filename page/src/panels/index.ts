// The parts beside the grid, in the order of their tabs.
import type { PanelEntry } from "../state";
import { mountFormula } from "./formula";
import "./panels.css";
import { mountPlot } from "./plot";
import { mountProperties } from "./properties";
import { mountWhy } from "./why";

export const panels: PanelEntry[] = [
  { id: "why", label: "Why?", mount: mountWhy },
  { id: "formula", label: "Formula", mount: mountFormula },
  { id: "plot", label: "Plot", mount: mountPlot },
  { id: "properties", label: "Properties", mount: mountProperties, dialog: true },
];
