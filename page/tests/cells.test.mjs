// Cells typed, pasted, undone: by keyboard.
import assert from "node:assert/strict";
import { eventually, scenario } from "./support.mjs";

const columns = [
  // Name, type (as it is begun in the list), unit, formula.
  ["Compound", "text"],
  ["MW", "number", "g/mol"],
  ["Mass", "number", "g"],
  ["Moles", "number", "mmol", "[Mass]/[MW]"],
  ["Equivalents", "number", "", "[Moles]/[Table:Moles:1]"],
];
const rows = [
  ["salicylic acid", "138.12 g/mol", "2.00 g"],
  ["acetic anhydride", "102.09", "5.41 g"],
  ["phosphoric acid", "97.99 g/mol", "421 mg"],
];

async function addColumn(view, [name, type, unit, formula]) {
  await view.tabTo("Column");
  await view.press("Enter");
  await view.type(name, "Tab");
  await view.type(type, "Tab");
  if (type === "number") {
    await view.type(unit, "Tab", "Tab");
    await view.type(formula ?? "");
  }
  await view.press("Enter");
  await view.page.getByRole("columnheader", { name, exact: true }).waitFor();
}

scenario("a stoichiometry table is made from nothing with the keyboard alone", async (scene) => {
  await scene.serve();
  const view = await scene.open({ waitFor: "text=There is no form yet" });
  await view.tabTo("New form");
  await view.press("Enter");
  await view.type("Esters", "Enter");
  await view.page.locator("text=no columns yet").waitFor();
  for (const column of columns) await addColumn(view, column);

  await view.tabTo("Compound");
  await view.press("ArrowDown");
  for (const row of rows) {
    for (const text of row.slice(0, -1)) await view.type(text, "Tab");
    await view.type(row[row.length - 1], "Enter");
  }
  await view.shows("Esters/Table:Moles:1", "14.5 mmol");
  await view.shows("Esters/Table:Equivalents:3", "0.297");
  await view.saved();
  assert.deepEqual(await view.texts(), scene.texts("Esters"));
  assert.deepEqual(
    await Promise.all(["Compound", "Mass", "Moles"].map((name) => view.kindOf(`Esters/Table:${name}:2`))),
    ["noted", "typed", "computed"],
  );
});
