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

  await view.toGrid();
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

const history = {
  undo: { key: "Control+z", button: /^Undo/ },
  redo: { key: "Control+y", button: /^Redo/ },
};

async function throughAll(view, { key, button }) {
  const tool = view.page.getByRole("button", { name: button });
  const hint = () => tool.getAttribute("title");
  for (;;) {
    const before = await hint();
    if (!before.includes(": ")) return;
    await view.press(key);
    await eventually(async () => (await hint()) !== before, true, "the next step of the history");
  }
}

scenario("a block is pasted; undo goes back through all, redo comes back", async (scene) => {
  scene.example("aspirin.xml");
  const before = scene.ask("export", "Aspirin");
  await scene.serve();
  const view = await scene.open();

  await view.cell("Aspirin/Reactants:Compound:PA").click();
  const block = "phosphoric acid\t97.99\r\n\"sodium \"\"salt\"\"\"\t160.1 g/mol\r\nwater\t18.02\r\n\t46.07\r\n";
  await view.page.evaluate((text) => navigator.clipboard.writeText(text), block);
  await view.press("Control+v");
  await view.shows("Aspirin/Reactants:Compound:4", "sodium \"salt\"");
  await view.shows("Aspirin/Reactants:MW:6", "46.07");
  await view.saved();
  assert.deepEqual(await view.texts(), texts(scene, "Aspirin/Reactants"));

  await view.cell("Aspirin/Reactants:Mass:SA").click();
  await view.type("2.50 g", "Enter");
  await view.shows("Aspirin/Reactants:Moles:SA", "17.9 mmol");
  await view.cell("Aspirin/Reactants:Mass:AA").click();
  await view.press("F2", "Home", "Delete", "9", "Enter");
  await view.shows("Aspirin/Reactants:Mass:AA", "9.41 g");
  await view.cell("Aspirin/Reactants:Volume:PA").click();
  await view.press("Delete");
  await view.shows("Aspirin/Reactants:Volume:PA", "");
  await view.button("Row").click();
  await view.cell("Aspirin/Reactants:Mass:7").waitFor();
  await view.saved();
  const after = scene.ask("export", "Aspirin");

  await view.cell("Aspirin/Reactants:Mass:SA").click();
  await throughAll(view, history.undo);
  assert.equal(scene.ask("export", "Aspirin"), before);
  await eventually(() => view.texts(), texts(scene, "Aspirin/Reactants"), "what the page shows");
  await throughAll(view, history.redo);
  assert.equal(scene.ask("export", "Aspirin"), after);
  await eventually(() => view.texts(), texts(scene, "Aspirin/Reactants"), "what the page shows");
});

function texts(scene, table) {
  const all = Object.entries(scene.texts(table.split("/")[0]));
  return Object.fromEntries(all.filter(([address]) => address.startsWith(`${table}:`)));
}
