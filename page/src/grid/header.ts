// What column headers say.
import type { Column } from "../api";

// What texts of cells with errors begin with.
export const errorPrefix = "#Error: ";

const typeNames: Record<Column["type"], string> = {
  string: "text",
  number: "number",
  date: "date",
  Boolean: "yes/no",
  structure: "structure",
};

export const typeName = (column: Column) => typeNames[column.type] ?? column.type;

// The line below the name: a number's unit says enough.
export const unitOrType = (column: Column) => column.unit ?? typeName(column);

export function describeColumn(column: Column): string {
  const unit = column.unit ? ` in ${column.unit}` : "";
  const formula = column.formula ? `, formula ${column.formula}` : "";
  return `${typeName(column)}${unit}${formula}`;
}
