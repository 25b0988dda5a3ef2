// Several people at one form, and connections that break.
import assert from "node:assert/strict";
import { eventually, patience, scenario } from "./support.mjs";

// The machine may be too slow for it under a sanitizer.
const soon = process.env.KT_PAGE_TEST_SLOW ? patience : 1000;
const mass = (row) => `Aspirin/Reactants:Mass:${row}`;

async function type(view, address, text) {
  await view.cell(address).click();
  await view.type(text, "Enter");
}

// Types into a cell while somebody else does; the one who is first is answered first.
async function collide(first, second, address, [firstText, secondText]) {
  let release;
  const released = new Promise((resolve) => (release = resolve));
  await second.page.route("**/api/cells/**", async (route) => (await released, route.continue()));
  await type(second, address, secondText);
  await type(first, address, firstText);
  await first.saved();
  release();
  await second.alert("was changed by somebody else").waitFor();
  await second.page.unroute("**/api/cells/**");
}

scenario("two browsers see each other's edits; a conflict loses neither text", async (scene) => {
  scene.example("aspirin.xml");
  await scene.serve();
  const ada = await scene.open();
  const ben = await scene.open();
  await type(ada, mass("SA"), "2.50 g");
  await ada.shows("Aspirin/Reactants:Moles:SA", "17.9 mmol");
  await eventually(() => ben.textOf("Aspirin/Reactants:Moles:SA"), "17.9 mmol", "the other's page", soon);

  await collide(ada, ben, mass("SA"), ["2.60 g", "2.70 g"]);
  const alert = ben.alert("was changed by somebody else");
  assert.match(await alert.innerText(), /2\.70 g[^]*2\.60 g/);
  assert.equal(scene.texts("Aspirin")[mass("SA")], "2.60 g");
  await ben.button("Keep mine", alert).click();
  await ada.shows(mass("SA"), "2.70 g");
  await ben.shows(mass("SA"), "2.70 g");

  await collide(ada, ben, mass("SA"), ["2.80 g", "2.90 g"]);
  await ben.button("Take theirs", alert).click();
  await ben.shows(mass("SA"), "2.80 g");
  assert.equal(scene.texts("Aspirin")[mass("SA")], "2.80 g");
  await ben.menu("Settings", /^Texts put aside/);
  await ben.page.getByRole("dialog").getByText("2.90 g").waitFor();
});

scenario("pages of one browser see what others do, also when the first of them is closed", async (scene) => {
  scene.example("aspirin.xml");
  await scene.serve();
  const ada = await scene.open();
  const ben = await scene.open();
  const tab = await scene.openTab(ben);
  await type(ada, mass("SA"), "2.50 g");
  for (const view of [ben, tab]) await view.shows("Aspirin/Reactants:Moles:SA", "17.9 mmol");
  await type(tab, mass("AA"), "6.00 g");
  await tab.saved();
  await ben.shows("Aspirin/Reactants:Equivalents:AA", scene.texts("Aspirin")["Aspirin/Reactants:Equivalents:AA"]);
  await ben.page.close();
  await type(ada, mass("SA"), "2.60 g");
  await tab.shows("Aspirin/Reactants:Moles:SA", "18.6 mmol");
});

scenario("what is being typed stays with its cell, whatever others do to the table", async (scene) => {
  scene.example("aspirin.xml");
  await scene.serve();
  const ada = await scene.open();
  const ben = await scene.open();
  const choose = async (row, item) => {
    await ada.cell(mass(row)).click({ button: "right" });
    await ada.page.getByRole("menuitem", { name: item }).click();
  };
  await ben.cell(mass("PA")).click();
  await ben.type("2.");
  await choose("SA", "Insert 1 row above");
  await ben.cell(mass("4")).waitFor();
  await ben.type("5");
  await choose("SA", "Insert column before");
  await ada.type("Batch", "Enter");
  await ben.cell("Aspirin/Reactants:Batch:PA").waitFor();
  await ben.type("0 g", "Enter");
  await ben.saved();
  await ada.shows(mass("PA"), "2.50 g");

  await ben.cell(mass("AA")).click();
  await ben.type("9.99");
  await choose("SA", "Remove column");
  await ada.button("Remove", ada.page.getByRole("dialog")).click();
  await ben.alert(`${mass("AA")} is gone`).getByText("9.99").waitFor();
  const active = await ben.page.locator(".cell.active").getAttribute("data-address");
  await eventually(async () => `Aspirin/${await ben.panel("why").locator(".kt-why-place").innerText()}`, active);
});

scenario("what is typed offline is sent later, and what others did is seen", async (scene) => {
  scene.example("aspirin.xml");
  await scene.serve();
  const ada = await scene.open();
  const ben = await scene.open();
  await ben.page.context().setOffline(true);
  await type(ben, mass("SA"), "2.50 g");
  await type(ben, "Aspirin/Reactants:Volume:AA", "6.00 ml");
  await ben.cell("Aspirin/Reactants:Compound:PA").click();
  await ben.press("ArrowDown");
  await ben.type("water", "Tab");
  await ben.type("18.02", "Enter");
  await eventually(async () => (await ben.page.locator(".saving").innerText()), "Offline · 4 unsent edits");
  await ada.button("Row").click();
  await ada.cell("Aspirin/Reactants:MW:4").waitFor();
  await type(ada, "Aspirin/Reactants:MW:PA", "98.00 g/mol");
  await ada.saved();
  await ben.page.context().setOffline(false);
  await ben.saved();
  await ada.shows(mass("SA"), "2.50 g");
  await ben.shows("Aspirin/Reactants:MW:PA", "98.00 g/mol");
  await ben.shows("Aspirin/Reactants:Compound:5", "water");
  await ben.shows("Aspirin/Reactants:MW:5", "18.02");
  await eventually(() => ben.texts(), await ada.texts(), "what both see");
});

const readings = Array.from({ length: 24 }, (_, i) => `1.${String(i).padStart(2, "0")} g`);

// The texts of the cells that are shown as saved.
const acknowledged = (view) => view.page.evaluate(() =>
  [...document.querySelectorAll('.cell.typed[data-address*=":Mass:"]:not(.unsent)')].map((cell) => cell.textContent));

scenario("the server is killed while somebody types, and started again", async (scene) => {
  scene.ask("new", "Log");
  scene.ask("add", "Log/Table");
  scene.ask("add", "Log/Table:Mass", "--unit", "g");
  scene.ask("add", "Log/Table:Double", "--unit", "g");
  scene.ask("formula", "Log/Table:Double", "2*[Mass]");
  for (let row = 1; row <= readings.length + 1; ++row) scene.ask("add", `Log/Table::${row}`);
  const server = await scene.serve();
  const view = await scene.open();
  await view.cell("Log/Table:Mass:1").click();

  const half = readings.length / 2;
  for (const text of readings.slice(0, half)) await view.type(text, "Enter");
  await eventually(async () => (await acknowledged(view)).length > 0, true, "a saved cell");
  const typing = (async () => {
    for (const text of readings.slice(half)) await view.type(text, "Enter");
  })();
  const promised = await acknowledged(view);
  await server.kill();
  await typing;
  const kept = Object.values(scene.texts("Log"));
  assert.deepEqual(promised.filter((text) => !kept.includes(text)), []);
  assert.match(await view.page.locator(".saving").innerText(), /^Offline · \d+ unsent/);

  const last = String(readings.length + 1);
  scene.ask("set", `Log/Table:Mass:${last}`, "9.99 g");
  await scene.serve({ port: server.port });
  await view.saved();
  await view.shows(`Log/Table:Mass:${last}`, "9.99 g");
  const texts = scene.texts("Log");
  assert.deepEqual(readings.map((_, i) => texts[`Log/Table:Mass:${i + 1}`]), readings);
  await eventually(() => view.texts(), texts, "what the page shows");
});
